#include "check/cure.h"
#include "check/stream_check.h"
#include "tests/program.h"

#include <regex>
#include <sstream>
#include <vector>

namespace {

/// All tables and such frames: a segment that players can begin with. Those of five frames, a
/// quarter of a second apart, are right for a duration of 1.
std::string segment(std::uint64_t pts, int count = 5, std::uint64_t step = 22500) {
    return table() + pat() + pmt() + frames(pts, count, step);
}

/// Three segments of so many frames, 25 a second, the second of which is a key frame.
std::string keyless(int count) {
    std::string packets;
    for (const std::uint64_t number : {0U, 1U, 2U}) {
        const std::uint64_t pts = number * static_cast<std::uint64_t>(count) * 3600;
        packets += table() + video(pts) + frames(pts + 3600, count - 1, 3600);
    }
    return packets;
}

/// `packets`, the first of which has these bits set in its byte `at` of the header.
std::string marked(std::string packets, std::size_t at, unsigned bits) {
    packets[at] = static_cast<char>(static_cast<unsigned char>(packets[at]) | bits);
    return packets;
}

/// `count` packets of `size` bytes behind `offset` other bytes.
std::string sized(std::size_t size, int count, std::size_t offset) {
    return std::string(offset, 'x') + times(count, '\x47' + std::string(size - 1, 'x'));
}

struct StreamRow {
    const char* name; ///< and the heading of what is expected, in check.txt
    Options settings = {.duration = 1, .window = 5};
    Stream packets = {};
    const char* stray_words = "";
};

const Options for_gst = {.duration = 1, .window = 5, .mux_type = 1};
const Stream good_stream = {segment(22500), segment(135000), segment(247500)};

// clang-format off
const StreamRow rows[] = {
    {.name = "a good stream", .packets = good_stream},
    {.name = "the clock wraps, in segment 0 and later",
     .packets = {segment(pts_modulus - 112500, 8), segment(pts_modulus + 67500, 4),
                 segment(pts_modulus + 157500), segment(pts_modulus + 270000)}},
    {.name = "one of no length, others without video", .settings = {.duration = -1, .window = -4},
     .packets = {video(90000), table(), video(90000), table(), other(2), table()}},
    {.name = "duration 0", .settings = {.duration = 0, .window = 1}, .packets = {segment(1)}},
    {.name = "no more than two durations without a cut",
     .packets = {good_stream.bytes, frames(360000, 4)}},
    {.name = "words that are no options", .packets = {other(), video(0, 0x41)},
     .stray_words = "--duration 4"},
    {.name = "an empty stream"},
    {.name = "192 bytes a packet", .packets = {sized(192, 9, 152)}},
    {.name = "204 bytes a packet", .packets = {sized(204, 11, 0)}},
    {.name = "192 bytes a packet, too few to tell", .settings = for_gst,
     .packets = {sized(192, 8, 156)}},
    {.name = "a byte lost", .packets = {other(10), other().substr(1), other(20)}, .stray_words = "4"},
    {.name = "two of five sync bytes missing", .settings = for_gst, .packets = {other(3), sized(189, 2, 1)}},
    {.name = "a stream from GStreamer",
     .packets = {pat(), video(0, 0x40), video(90000, 0x40), video(180001, 0x40)}},
    {.name = "another pad of GStreamer", .settings = for_gst,
     .packets = {pat(), video(0, 0x41), video(7200, 0x41)}},
    {.name = "audio first, with B-frames",
     .packets = {table(), pat(), pmtOf({3, 0x1B}), video(9000, 0x101), video(16200, 0x101),
                 video(12600, 0x101)}},
    {.name = "a stream from FFmpeg, for GStreamer", .settings = for_gst, .packets = {pat(), video(0)}},
    {.name = "video on another PID first", .packets = {video(90000, 0x40), good_stream.bytes}},
    {.name = "another stream id",
     .packets = {table(), packet({.pid = 0x100, .payload = "\0\0\1\xE1"s}),
                 packet({.pid = 0x101, .payload = "\0\0\1\xC0"s})}},
    {.name = "sound alone", .packets = {table(), packet({.pid = 0x101, .payload = "\0\0\1\xC0"s})}},
    {.name = "an unknown muxer", .settings = {.duration = 1, .window = 5, .mux_type = 2},
     .packets = {table(), frames(0, 5), pat(), pmt(), frames(112500, 5)}},
    {.name = "no table", .packets = {pat(), pmt(), frames(0, 5), frames(112500, 5)}},
    {.name = "B-frames",
     .packets = {segment(45000, 1), video(112500), video(67500), video(90000), table(),
                 frames(135000, 1), video(202500), video(157500), video(180000)}},
    {.name = "B-frames around a pause",
     .packets = {table(), reordered({{7200, 0}, {540000, 3600}, {10800, 7200}, {547200, 536400},
                                     {543600, 540000}})}},
    {.name = "the source restarts",
     .packets = {segment(0), counters(0x101, {3}), table(), frames(112500, 1), video(200000),
                 table(), counters(0x101, {9}), video(19999), video(90000), table(),
                 frames(180000, 1)}},
    {.name = "a fall of two seconds, and a longer one",
     .packets = {table(), video(180000), video(0), video(90000), video(180001), video(0)}},
    {.name = "a pause, and a jump of ten seconds",
     .packets = {segment(0), segment(112500, 2), frames(225001, 3), segment(270001, 2),
                 video(1192502), table()}},
    {.name = "tables after the video, no key frames",
     .packets = {packet({.pid = 0x100, .adaptation = "\1\xBF", .payload = pesHeader(22500)}),
                 table(), packet({.pid = 0x100}), pat(), pmt(), video(44550),
                 table(), pat(), video(134999), pmt(), video(157500),
                 table(), pmt(), video(247500)}},
    {.name = "a key frame at the start alone",
     .packets = {segment(22500), table(), pat(), pmt(), video(135000), video(202500), video(270000)}},
    {.name = "joined in between", .packets = {video(11250), good_stream.bytes}},
    {.name = "key frames that nothing marks",
     .packets = {table(), pat(), pmt(),
                 packet({.pid = 0x100, .payload = pesHeader(22500) + "\0\0\1\x09\0\0\1\x67"s}),
                 table(), pat(), pmt(),
                 packet({.pid = 0x100, .payload = pesHeader(45000) + "\0\0\1\x65"s}),
                 table(), video(67500)}},
    {.name = "a key frame lost",
     .packets = {counters(0x101, {3}), good_stream.bytes, table(), counters(0x101, {5}),
                 video(360000), video(382500)}},
    {.name = "29.97 frames a second, no window", .settings = {.duration = 1},
     .packets = {segment(3003, 29, 3003), table(), pat(), frames(90090, 29, 3003), table()}},
    {.name = "timestamps in milliseconds, another first PID",
     .packets = {table(), pat(), pmtOf({0x24, 0xF}), video(0, 0x102), video(2970, 0x102),
                 video(5940, 0x102), video(9000, 0x102)}},
    {.name = "every fifth frame missing",
     .packets = {segment(1, 80, 1800), segment(144001, 80, 1800), segment(288001, 12, 4800)}},
    {.name = "no usual rate", .packets = {segment(0, 100, 2396)}},
    {.name = "what was given already", .packets = {keyless(26)}},
    {.name = "what was given twice", .packets = {keyless(27)}},
    {.name = "one odd length",
     .packets = {segment(22500), segment(135000), segment(247500, 6), segment(382500)}},
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
    {.name = "damaged, scrambled, and not for browsers",
     .packets = {good_stream.bytes, pat(), pmtOf({2, 3, 6}), marked(other(), 1, 0x80),
                 marked(other(), 3, 0x40), marked(other(), 3, 0x80)}},
};

const FrameRate rates[] = {{1, 1}, {5, 1}, {15, 2}, {25, 2}, {15000, 1001}, {24, 1}, {25, 1},
                           {30000, 1001}, {30, 1}, {60000, 1001}, {120, 1}};
// clang-format on

/// The whole report that stands in check.txt under this heading, behind the numbers of its
/// findings.
std::string wholeReport(const std::string& name) {
    const std::string text = expectedText("check.txt", name);
    return text.substr(text.find('\n') + 1);
}

struct CheckRun : ProgramTest {};
constexpr std::size_t line_size = 63; // of the heading, and of a row

} // namespace

TEST(Check, FindsInEachStreamWhatTheTextSays) {
    for (const StreamRow& row : rows) {
        SCOPED_TRACE(row.name);
        Options settings = row.settings;
        std::string packets = row.packets.bytes;
        packets.resize(packets.size() / packet_size * packet_size); // whole ones only
        std::ostringstream out("\n", std::ios::ate);
        StreamCheck check(settings, out, row.stray_words);
        check.take(packets);
        const bool is_good = check.end();
        const std::string report = out.str().substr(out.str().find(" to fix"));
        EXPECT_EQ(is_good, report.starts_with(" to fix."));
        std::string numbers;
        for (std::size_t at = 0; (at = report.find("\n[", at)) != std::string::npos; ++at) {
            numbers += report.substr(at + 1, report.find(']', at) - at);
        }
        std::istringstream text(expectedText("check.txt", row.name));
        std::string line;
        std::getline(text, line);
        EXPECT_EQ(numbers.empty() ? "nothing" : numbers, line) << report;
        while (std::getline(text, line)) {
            EXPECT_NE(out.str().find('\n' + line + '\n'), std::string::npos) << line << out.str();
        }
    }
}

TEST(Cure, HasKeyFramesAndCutPacketsComeTogetherAndAfterTheDuration) {
    for (const FrameRate& rate : rates) {
        for (std::int32_t duration = 1; duration < 200; ++duration) {
            const Values values = recipeValues(rate, duration);
            EXPECT_TRUE((fill("{rate}/1", values) + "/1").starts_with(fill("{fraction}", values)));
            const double distance = std::stod(fill("{frames}", values)) / rate.perSecond();
            const double period = std::stod(fill("{period}", values));
            EXPECT_GE(distance, period) << fill("{rate} {frames} {period}", values);
            EXPECT_GT(period, duration) << fill("{rate} {frames} {period}", values);
        }
    }
}

TEST_F(CheckRun, PrintsARowOnceASegmentIsCompleteAndTheRestOnASignal) {
    Program program(SEGMENTER_CHECK " --duration=1 --window=5");
    program.write(good_stream);
    const std::string text = wholeReport("a good stream");
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
        const std::string text = wholeReport(name);
        expectOutcome(check.end(), {.status = 2, .output = text, .errors = ""});

        Program segmenter(SEGMENTER + std::string(arguments));
        segmenter.write(stream);
        std::istringstream rows(
            std::regex_replace(text.substr(line_size), std::regex("\n\\[[^\n]*"), ""));
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
