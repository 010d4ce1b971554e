#include "check/stream_check.h"
#include "tests/program.h"

#include <sstream>

namespace {

// More packets in words.

/// A program association table with the program map table of one program on PID 0x1000.
std::string pat() {
    return packet({.pid = 0, .payload = "\0\0\xB0\x0D\0\1\xC1\0\0\0\1\xF0\0CRC4"s});
}

std::string pmt() { return packet({.pid = 0x1000}); }

/// Packets with these continuity counters.
std::string counters(std::uint32_t pid, std::initializer_list<unsigned> values) {
    std::string packets;
    for (const unsigned value : values) {
        packets += packet({.pid = pid, .counter = value});
    }
    return packets;
}

/// `count` frames, `step` ticks apart; with the first one decoding can begin.
std::string frames(std::uint64_t pts, int count = 5, std::uint64_t step = 22500) {
    std::string packets = packet({.pid = 0x100, .adaptation = "\1\x40", .payload = pesHeader(pts)});
    while (--count > 0) {
        packets += video(pts += step);
    }
    return packets;
}

/// All tables and such frames: a segment that players can begin with. Those of five frames, a
/// quarter of a second apart, are right for a duration of 1.
std::string segment(std::uint64_t pts, int count = 5, std::uint64_t step = 22500) {
    return table() + pat() + pmt() + frames(pts, count, step);
}

/// `count` packets of `size` bytes behind `offset` other bytes.
std::string sized(std::size_t size, int count, std::size_t offset) {
    std::string packets(offset, 'x');
    while (count-- > 0) {
        packets += '\x47' + std::string(size - 1, 'x');
    }
    return packets;
}

struct StreamRow {
    const char* name; ///< and the heading of what is printed, in check.txt
    Options settings = {.duration = 1, .window = 5};
    Stream packets;
};

const Options for_gst = {.duration = 1, .window = 5, .mux_type = 1};
const Stream good_stream = {segment(22500), segment(135000), segment(247500)};

// clang-format off
const StreamRow rows[] = {
    {.name = "a good stream", .packets = good_stream},
    {.name = "the clock begins anew; last, nothing is cut for two durations",
     .packets = {segment(pts_modulus - 225000), segment(pts_modulus - 112500), segment(pts_modulus),
                 segment(pts_modulus + 112500), segment(pts_modulus + 225000, 8)}},
    {.name = "one segment", .settings = {.duration = 3}, .packets = {pat(), frames(0, 1)}},
    {.name = "one of no length, others without video", .settings = {.duration = -1, .window = 4},
     .packets = {video(90000), table(), video(90000), table(), other(2), table()}},
    {.name = "duration 0", .settings = {.duration = 0, .window = 1}, .packets = {segment(1)}},
    // finding 1: packets
    {.name = "an empty stream", .packets = {}},
    {.name = "192 bytes a packet", .packets = {sized(192, 9, 152)}},
    {.name = "192 bytes from GStreamer", .settings = for_gst, .packets = {sized(192, 9, 4)}},
    {.name = "204 bytes a packet", .packets = {sized(204, 9, 0)}},
    {.name = "192 bytes a packet, too few to tell", .packets = {sized(192, 8, 156)}},
    {.name = "random bytes from GStreamer", .settings = for_gst, .packets = {sized(188, 8, 1)}},
    {.name = "half a packet first", .packets = {sized(188, 10, 187)}},
    {.name = "two of five sync bytes missing", .packets = {other(3), sized(189, 2, 1)}},
    {.name = "half of all sync bytes missing", .packets = {other(22), std::string(4136, 'x')}},
    // findings 2 and 3: PIDs
    {.name = "a stream from GStreamer", .packets = {pat(), video(0, 0x40), video(180001, 0x40)}},
    {.name = "a stream from FFmpeg, for GStreamer", .settings = for_gst,
     .packets = {table(), pat(), pmt(), video(0), video(180001)}},
    {.name = "video on five other PIDs",
     .packets = {video(0, 0x44), video(0, 0x41), video(0, 0x42), video(0, 0x41), video(0, 0x1FF),
                 video(0, 0x43), table()}},
    {.name = "another pad of GStreamer", .settings = for_gst, .packets = {pat(), video(0, 0x41)}},
    {.name = "audio first", .packets = {table(), video(0, 0x101)}},
    {.name = "audio first for GStreamer", .settings = for_gst, .packets = {pat(), video(0, 0x101)}},
    {.name = "an unknown muxer", .settings = {.duration = 1, .window = 5, .mux_type = 2},
     .packets = {table(), frames(0), pat(), pmt(), frames(112500)}},
    {.name = "an unknown muxer, video on GStreamer's PID",
     .settings = {.duration = 1, .mux_type = 2}, .packets = {video(0, 0x40)}},
    {.name = "no table", .packets = {pat(), pmt(), frames(0), frames(112500)}},
    // findings 4 and 5: timestamps that fall, or that nothing follows
    {.name = "B-frames",
     .packets = {segment(90000, 1), video(225000), video(135000), video(180000), table(),
                 frames(270000, 1), video(405000), video(315000), video(360000)}},
    {.name = "B-frames from GStreamer", .settings = for_gst,
     .packets = {pat(), video(22500, 0x40), video(0, 0x40)}},
    {.name = "the source begins anew",
     .packets = {segment(0), counters(0x101, {3}), table(), frames(112500, 1), video(400000),
                 table(), counters(0x101, {9}), video(200000), video(300000), table(),
                 frames(400000, 1)}},
    {.name = "a fall of two seconds",
     .packets = {table(), video(180000), video(0), video(180000), video(360001)}},
    {.name = "a longer fall", .packets = {table(), video(180001), video(0), video(180001)}},
    {.name = "a longer fall, and no more than two durations without a cut",
     .packets = {table(), video(180001), video(0), video(180000)}},
    {.name = "the same timestamp twice", .packets = {table(), video(90000), video(90000)}},
    {.name = "a frame missing from 25 a second", .packets = {segment(1, 60, 3600), video(219601)}},
    {.name = "the usual step comes when eight others are counted",
     .packets = {table(), video(0), video(2880), video(5760), video(7920), video(10440),
                 video(13680), video(17640), video(21960), video(26640), video(31680),
                 video(36180), video(39780), video(43380)}},
    {.name = "a rate close to a usual one", .packets = {segment(1, 5, 22530)}},
    {.name = "ten seconds, a jump", .packets = {table(), video(0), video(900000), video(1800001)}},
    // finding 6: what segments begin with
    {.name = "tables behind the video, no key frames",
     .packets = {packet({.pid = 0x100, .adaptation = "\1\xBF", .payload = pesHeader(22500)}),
                 table(), packet({.pid = 0x100}), pat(), pmt(), video(44550),
                 table(), pat(), video(135000), pmt(), video(157500),
                 table(), pmt(), video(247500)}},
    {.name = "key frames a frame too early, at 29.97 frames a second, no window",
     .settings = {.duration = 1},
     .packets = {segment(3003, 29, 3003), table(), pat(), frames(90090, 29, 3003), table()}},
    // finding 7: lengths
    {.name = "lengths that another duration fits",
     .packets = {segment(1, 5, 36360), segment(181801, 5, 36360), segment(363601, 1)}},
    {.name = "lengths without room for a cut to fall due",
     .packets = {segment(1, 5, 36180), segment(180901, 5, 36180), segment(361801, 1)}},
    {.name = "lengths that round up",
     .packets = {segment(1, 5, 45000), segment(225001, 5, 45000), segment(450001, 1)}},
    {.name = "one odd length",
     .packets = {segment(22500), segment(135000), segment(247500, 6), segment(382500)}},
    // finding 8: continuity counters
    {.name = "packets lost on three PIDs, none on two",
     .packets = {counters(0x20, {3, 6}), // two
                 counters(0x21, {3, 3, 3}), // fifteen, since a packet may only come twice
                 packet({.pid = 0x22, .counter = 3}), // five twice, without a mark
                 packet({.pid = 0x22, .counter = 9, .adaptation = "\1\x7F"}),
                 packet({.pid = 0x22, .counter = 15, .adaptation = "\0"s, .payload = "\x80"}),
                 counters(0x23, {14, 15, 0, 0, 1, 1, 2}), // modulo 16, and twice
                 packet({.pid = 0x23}), counters(0x23, {3}), // without payload
                 packet({.pid = 0x23, .counter = 9, .adaptation = "\1\x80"}), // marked
                 counters(0x23, {10}), counters(0x1FFF, {3, 9})}}, // only fills the stream
    {.name = "one lost from GStreamer", .settings = for_gst, .packets = {counters(0x40, {3, 5})}},
};
// clang-format on

struct CheckRun : ProgramTest {};
constexpr std::size_t line_size = 63; // of the heading, and of a row

} // namespace

TEST(Check, SaysOfEachStreamWhatTheTextSays) {
    for (const StreamRow& row : rows) {
        Options settings = row.settings;
        std::string packets = row.packets.bytes;
        packets.resize(packets.size() / packet_size * packet_size); // whole ones only
        std::ostringstream out;
        StreamCheck check(settings, out);
        check.take(packets);
        const bool is_good = check.end();
        EXPECT_EQ(out.str(), expectedText("check.txt", row.name)) << row.name;
        EXPECT_EQ(is_good, out.str().ends_with("Nothing to mend.\n")) << row.name;
    }
}

TEST_F(CheckRun, PrintsARowOnceASegmentIsCompleteAndTheRestOnASignal) {
    Program program(SEGMENTER_CHECK " --duration=1 --window=5");
    program.write(good_stream);
    const std::string text = expectedText("check.txt", "a good stream");
    EXPECT_TRUE(eventually([&] { return program.output() == text.substr(0, 3 * line_size); }));
    ::kill(program.process(), SIGINT);
    EXPECT_TRUE(eventually([&] { return program.output() == text; }));
    expectOutcome(program.end(), {.output = text, .errors = ""});
}

TEST_F(CheckRun, PrintsTheSegmentsThatTheSegmenterCuts) {
    for (const auto& [name, arguments] :
         {std::pair("ffmpeg.ts", " --duration=3"), {"gst.ts", " --duration=3 --mux_type=1"}}) {
        SCOPED_TRACE(name);
        const Folder own;
        const Stream stream = {readFile(ROOT "demo/streams/"s + name)};
        Program check(SEGMENTER_CHECK + std::string(arguments));
        check.write(stream);
        const std::string text = expectedText("check.txt", name);
        expectOutcome(check.end(), {.status = 2, .output = text, .errors = ""});

        Program segmenter(SEGMENTER + std::string(arguments));
        segmenter.write(stream);
        std::istringstream rows(text.substr(line_size));
        Stream all = {};
        for (const auto& [path, segment] : segmenter.end().files) {
            std::string row;
            if (path.ends_with(".ts") && std::getline(rows, row)) {
                EXPECT_EQ(packet_size * std::stoul(row.substr(10)), segment.bytes.size()) << row;
                all.bytes += segment.bytes;
            }
        }
        EXPECT_EQ(all, stream);
    }
    EXPECT_EQ(Program(SEGMENTER_CHECK).end().status, 1) << "without options";
}
