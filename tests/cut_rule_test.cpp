#include "segmenter/cut_rule.h"
#include "tests/support.h"

#include <limits>
#include <utility>
#include <vector>

namespace {

/// A stream, and where it is cut: `segments` together are its packets.
struct CutRow {
    const char* name;
    Options settings{}; ///< mux_type aside
    std::vector<Stream> segments;
};

constexpr std::uint64_t last_tick = 8589934591; // the clock wraps behind it
using Seconds = std::numeric_limits<std::int32_t>;

std::vector<CutRow> rowsFor(const MuxerPIDs& pids) {
    const std::string table = packet({.pid = pids.cut});
    const auto video = [&](std::uint64_t pts, std::size_t offset = 0) {
        return packet({.pid = pids.video, .payload = std::string(offset, 'x') + pesHeader(pts)});
    };
    // clang-format off
    return {
        {.name = "nothing is cut before the first timestamp above 0, then by the next table",
         .segments = {{other(), table, video(0), table, video(1), other()}, {table, other()}}},
        {.name = "a table cuts when the timestamp is past the cut time, not when it is equal",
         .segments = {{video(126000)}, {table, video(576000), table, video(576001)}, {table}}},
        {.name = "with duration 0 a table cuts after every rise", .settings = {.duration = 0},
         .segments = {{video(1)}, {table, table, video(2)}, {table, video(2), table}}},
        {.name = "every timestamp that falls, as at a wrap, moves the cut time, and nothing is cut",
         .segments = {{video(last_tick)}, {table, video(9), table, video(80), video(8), table,
                                           video(450008), table, video(450009)}, {table}}},
        {.name = "after the longest duration nothing is cut",
         .settings = {.duration = Seconds::max()},
         .segments = {{video(1)}, {table, video(last_tick), table}}},
        {.name = "with a negative duration every table cuts", .settings = {.duration = -1},
         .segments = {{video(200000)}, {table}, {table, other()}}},
        {.name = "a cut time below 0 is never passed", .settings = {.duration = Seconds::min()},
         .segments = {{video(1)}, {table, video(last_tick), table}}},
        {.name = "a table that holds a video start has no timestamp of its own",
         .segments = {{other(), packet({.pid = pids.cut, .payload = pesHeader(9)}), table,
                       video(1)},
                      {packet({.pid = pids.cut, .payload = pesHeader(900000)}), table}}},
        {.name = "a timestamp that runs over the packet's end is none",
         .segments = {{video(900000, 171), table, video(1, 170)}, {table}}},
        {.name = "video begins where a unit does, on its PID, with its stream id",
         .segments = {{packet({.pid = pids.video, .unit_start = false, .payload = pesHeader(1)}),
                       packet({.pid = pids.video | 0x1000, .payload = pesHeader(1)}),
                       packet({.pid = pids.video, .payload = "\0\0\1\xC0\0\0\x80\x80\5!\0\1\0\3"s}),
                       table, video(1)}, {table}}},
        {.name = "of a table only the PID counts, with all its 13 bits",
         .segments = {{video(1), packet({.pid = pids.cut | 0x1000}),
                       packet({.pid = pids.cut | 0x100}), packet({.pid = pids.cut ^ 1})},
                      {packet({.pid = pids.cut, .unit_start = false, .counter = 9})}}},
    };
    // clang-format on
}

} // namespace

TEST(CutRule, CutsAsTheRowsSay) {
    for (const auto& [mux_type, pids] :
         {std::pair(0, MuxerPIDs{.video = 0x100, .cut = 0x11}), {1, {.video = 0x40, .cut = 0}}}) {
        for (CutRow& row : rowsFor(pids)) {
            row.settings.mux_type = mux_type;
            CutRule rule(row.settings);
            for (const Stream& segment : row.segments) {
                for (bool is_first = true; auto& packet : split(segment.bytes)) {
                    EXPECT_EQ(rule.beginsSegment(packet.data()), std::exchange(is_first, false))
                        << row.name << ", muxer " << mux_type << ", in segment "
                        << &segment - row.segments.data();
                }
            }
        }
    }
}
