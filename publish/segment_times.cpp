#include "publish/segment_times.h"

#include "segmenter/options.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"
#include "tsinspect/usual_value.h"

#include <array>
#include <cstring>
#include <fstream>
#include <limits>

namespace {

/// A frame's length where a single one tells nothing: one of 25 a second.
constexpr std::int64_t single_frame = ticks_per_second / 25;

/// Calls `visit` with each video timestamp in the first `packets` packets of the file at `path`,
/// until it returns false.
template <typename Visit>
void visitTimestamps(const std::string& path, std::int32_t mux_type, std::int64_t packets,
                     Visit visit) {
    Options settings;
    settings.mux_type = mux_type;
    std::ifstream file(path, std::ios::binary);
    std::array<char, packet_size> packet{};
    for (; packets > 0 && file.read(packet.data(), packet.size()); --packets) {
        TS header;
        std::memcpy(&header, packet.data(), sizeof header);
        const int offset = syncPES(settings, header, packet.data());
        if (holdsPTS(offset) && !visit(decodePTS(packet.data() + offset))) {
            return;
        }
    }
}

} // namespace

std::optional<std::uint64_t> firstTimestamp(const std::string& path, std::int32_t mux_type) {
    constexpr std::int64_t beginning = 1'000'000 / packet_size; // more than the largest frame has
    std::optional<std::uint64_t> first;
    visitTimestamps(path, mux_type, beginning, [&first](std::uint64_t pts) {
        first = pts;
        return false;
    });
    return first;
}

SegmentTimes readTimes(const std::string& path, std::int32_t mux_type, std::int64_t longest_step) {
    SegmentTimes times;
    UsualValue frame_steps;
    std::uint64_t last = 0;
    std::uint64_t highest = 0;
    std::int64_t pieces = 0; // between jumps; each has a last frame, whose step is not seen
    visitTimestamps(path, mux_type, std::numeric_limits<std::int64_t>::max(),
                    [&](std::uint64_t pts) {
                        const std::int64_t step = times.first ? ticksBetween(last, pts) : 0;
                        const bool is_jump = step > longest_step || step < -longest_fall;
                        if (!times.first || is_jump) {
                            times.first = times.first.value_or(pts);
                            times.has_jump |= is_jump;
                            highest = pts;
                            ++pieces;
                        } else if (const std::int64_t rise = ticksBetween(highest, pts); rise > 0) {
                            times.length += rise;
                            highest = pts;
                            frame_steps.add(static_cast<std::uint64_t>(rise));
                        }
                        last = pts;
                        return true;
                    });
    const auto usual = static_cast<std::int64_t>(frame_steps.get());
    const std::int64_t frame = usual > 0 ? usual : single_frame;
    times.length += pieces * frame;
    times.end = (highest + static_cast<std::uint64_t>(frame)) % pts_modulus;
    return times;
}
