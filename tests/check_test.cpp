#include "align/aligner.h"
#include "tests/program.h"

#include <algorithm>
#include <vector>

namespace {

const std::string tables = table() + pat() + pmtOf({0x1B, 0x0F});

/// A segment that players can begin with. One of five frames is right for a duration of 1.
std::string segment(std::uint64_t pts, int count = 5) { return tables + frames(pts, count); }

/// Four segments of a second from `dts` on, whose second frame is shown as the last.
std::string reordered(std::uint64_t dts = 0) {
    std::string packets = tables;
    for (const std::uint64_t end = dts + 360000; dts < end; dts += 90000) {
        packets += key(dts + 22500) + frame(dts + 90000, "\x41", dts + 22500) + delta(dts + 45000) +
                   delta(dts + 67500);
    }
    return packets;
}

/// What segmenter-align makes of `packets`.
std::string aligned(const std::string& packets) {
    Aligner aligner(
        1, [](const AlignedSegment&) {}, [](const std::string&) {});
    aligner.take(packets);
    aligner.end();
    return {aligner.output().data(), aligner.output().size()};
}

/// `packets`, the first of which has these bits set in its byte `at` of the header.
std::string marked(std::string packets, std::size_t at, unsigned bits) {
    packets[at] = static_cast<char>(static_cast<unsigned char>(packets[at]) | bits);
    return packets;
}

/// A stream, and what is said of it.
struct CheckRow {
    const char* name;
    Stream packets = {};
    const char* findings = "none";      ///< the numbers of what is to be fixed
    std::vector<std::string> says{};    ///< in the output; a cure only where one is among these
    const char* options = "--window=5"; ///< beside --duration=1
};

const char* const for_gst = "--window=5 --mux_type=1";
const Stream good_stream = {segment(22500), segment(135000), segment(247500)};
const std::string cure_with =
    "\n  segmenter-align --duration=1 | segmenter --duration=1 --mux_type=1 --window=";
const std::string cure = cure_with + "5\n";

// clang-format off
const CheckRow rows[] = {
    {"no packet", {}, "1", {"Not one whole packet arrived"}},
    {"noise", {std::string(3760, 'x'), counters(0x101, {3, 6}), std::string(3760, 'x')}, "1",
     {"40 of 42 packets do not begin", "No transport stream came.", "lost=0\n"}},
    {"m2ts packets", {spaced(good_stream.bytes, "TIME", "")}, "1", {"24 of 24 packets do", cure}},
    {"a byte lost", {good_stream.bytes, other().substr(1), other(30)}, "1",
     {"30 of 54 packets do not begin", cure}},
    {"no PAT", {times(3, table() + pmtOf({0x1B}) + frames(0, 5))}, "2",
     {"No program association table (PAT) came."}},
    {"audio first, and reordered frames",
     {table(), pat(), pmtOf({0x0F, 0x1B}), key(9000, 0x101), key(16200, 0x101), key(12600, 0x101)},
     "2", {"on PID 0x100, and finds none: the video is on PID 0x101.", cure,
           "3 frames of video on PID 0x101, 25 a second"}},
    {"another stream id",
     {tables, packet({.pid = 0x100, .payload = "\0\0\1\xE1"s + key(0).substr(8)})}, "2",
     {"the video is on PID 0x100.", cure}},
    {"sound alone",
     {pat(), pmtOf({3}), packet({.pid = 0x100, .payload = "\0\0\1\xC0"s + pesHeader(0).substr(4)})},
     "2", {"the sound is on PID 0x100.", cure, "\n1 frame of sound on PID 0x100.\n"}},
    {"a stream from FFmpeg, for GStreamer", good_stream, "2", {"on PID 0x40, and finds none", cure},
     for_gst},
    {"an unknown muxer", good_stream, "3",
     {"--mux_type=2 is not a known muxer", cure}, "--window=5 --mux_type=2"},
    {"no SDT", {pat(), pmtOf({0x1B}), frames(1, 5), frames(112501, 5)}, "3",
     {"No packet came on PID 0x11,", cure}},
    {"B-frames", {reordered()}, "4", {"4 of 16 timestamps go back", cure}},
    {"B-frames, aligned", {aligned(reordered())}, "none",
     {"         2          8       1.00   yes   yes     -         yes\n"}, for_gst},
    {"a fall of two seconds, and a longer one",
     {segment(180000, 1), frames(0, 1), frames(180001, 1), frames(0, 1)}, "4,10",
     {"1 of 4 timestamps go", "restarted in segment 0,", "forward in segment 0, by 2 s", cure}},
    {"the source restarts, aligned", {aligned(reordered(900000) + reordered())}, "4",
     {"restarted in segment 3,", "\n         3          9          -   yes"}, for_gst},
    {"the clock wraps, in segment 0",
     {segment(pts_modulus - 112500, 4), frames(pts_modulus - 22500, 4), tables,
      frames(pts_modulus + 67500, 4), segment(pts_modulus + 157500),
      segment(pts_modulus + 270000)}, "none", {"         0         18       3.00   yes"}},
    {"the clock wraps, in segment 1",
     {segment(pts_modulus - 180000), segment(pts_modulus - 67500), segment(pts_modulus + 45000),
      segment(pts_modulus + 157500)}, "none", {"         1         16       2.50   yes"}},
    {"no more than two durations without a cut", {good_stream.bytes, frames(360000, 4)}, "5",
     {"Nothing was cut in the last 2.25 s, although --duration is 1.", cure}},
    {"segments without a key frame",
     {segment(22500, 4), tables, delta(112500), frames(135000, 4), tables, delta(225000),
      frames(247500, 4), segment(337500)}, "6", {"2 of 3 segments begin without a key", cure}},
    {"tables behind the video",
     {segment(22500), table(), frames(135000, 5), pat(), pmtOf({0x1B, 0x0F}), segment(247500)}, "6",
     {"1 of 2 segments have no PAT and PMT", cure}},
    {"joined in between", {tables, delta(11250), good_stream.bytes}},
    {"joined long before a key frame",
     {tables, delta(11250), tables, delta(33750), frames(56250, 4), segment(146250),
      segment(258750)}, "6", {"1 of 3 segments begin without a key frame", cure}},
    {"tables that come late", {other(300), good_stream.bytes}},
    {"parameters in a PES packet of their own",
     {segment(22500), tables, frame(135000, "\x67~"),
      frame(135000, "\x65"), frames(157500, 4), segment(247500)}, "none",
     {"15 frames of video", "         1          9       1.25   yes   yes   yes         yes"}},
    {"a frame that takes several packets",
     {segment(22500), tables, frame(135000, "\x09"),
      packet({.pid = 0x100, .unit_start = false, .payload = "\0\0\1\x67\0\0\1\x65"s}),
      frame(157500, "\x09"), delta(225000), segment(247500)}, "none",
     {"         1          7       1.25   yes   yes   yes         yes"}},
    {"a key frame lost",
     {counters(0x101, {3}), good_stream.bytes, tables, counters(0x101, {5}), delta(405000)}, "8",
     {"At least 1 packet got lost", "at least 1 packet lost.\n", "lost=1+\n"}},
    {"no key frame",
     {tables, delta(22500), tables, delta(112500), delta(157500), tables, delta(225000)},
     "7", {"Only 0 key frames came in 4 frames, and players begin with one."}},
    {"key frames that come too seldom", {segment(22500, 6), segment(157500, 7), segment(315000)},
     "7", {"[7] Segments get longer than 1 s, since no key frame comes nearer", "FFmpeg: -g"}},
    {"a single key frame for two durations", {segment(22500, 10)}, "7", {"Only 1 key frame"}},
    {"a wrong length",
     {segment(22500), tables, frames(135000, 4), frames(225000, 2), segment(270000)}, "7",
     {"1 of 2 segments last 1.5 s, but the playlist says 1 s", cure}},
    {"packets lost on two PIDs, none on two",
     {good_stream.bytes, counters(0x20, {3, 6}), // two
      packet({.pid = 0x22, .counter = 3}), // five, without a mark
      packet({.pid = 0x22, .counter = 9, .adaptation = "\1\x7F"}),
      packet({.pid = 0x22, .counter = 10, .adaptation = "\0"s, .payload = "\x80"}),
      counters(0x23, {14, 15, 0, 0, 1, 1, 2}), packet({.pid = 0x23}), counters(0x23, {3}), // right
      packet({.pid = 0x23, .counter = 9, .adaptation = "\1\x80"}), // marked
      counters(0x23, {10}), counters(0x1FFF, {3, 9})}, // only fills the stream
     "8", {"At least 7 packets got lost", "lost=7+\n"}},
    {"no duration, and a small window", good_stream, "9",
     {"--duration=0 is too short", "--window=4 suits no live stream"}, "--window=4 --duration=0"},
    {"no window", good_stream, "none", {"[9] Note: With --window=0"}, ""},
    {"a pause of a second, and a longer one",
     {segment(22500), segment(135000, 1), frames(225000, 1), segment(247500, 1), frames(337501, 5)},
     "10", {"Timestamps jump forward in segment 2, by 1 s"}},
    {"damaged and scrambled packets",
     {good_stream.bytes, marked(other(), 1, 0x80), marked(other(), 3, 0x40)},
     "11", {"2 of 26 packets are scrambled, or marked"}},
    {"a scrambled stream", {tables, times(9, marked(key(0), 3, 0x80))}, "11", {"9 of 12 packets"}},
    {"one segment", {segment(1)}, "12", {"Too short to judge: 1 s, with fewer than two"}},
    {"words that are no options", {reordered()}, "4,13",
     {"not options: --duration 4 --windw=6 7. A value needs"}, "--duration 4 --windw=6 7"},
    {"what browsers do not play", {good_stream.bytes, pat(), pmtOf({0x24, 0x03, 0x06})}, "none",
     {"[14] Note: Browsers play H.264 and AAC, but not what is on these PIDs: 0x100 HEVC (a few "
      "play it); 0x101 MPEG audio, if not MP3; 0x102 private data: subtitles, or"}},
    {"key frames without parameter sets",
     {segment(22500), tables, frame(135000, "\x65"), frames(135000, 5), segment(247500)},
     "9,15", {"1 of 4 key frames come without parameter sets"}, "--window=4"},
    {"HEVC with parameter sets",
     {table(), pat(), pmtOf({0x24}), frame(1, "\x42\1\0\0\1\x26"s), frame(45001, "\x26")},
     "12,15", {"1 of 2 key frames come without parameter"}},
    {"a cure with all options", {reordered()}, "4,9",
     {cure_with + "6 --prefix='/www/a b/' --url_prefix='c' --playlist_name='d.m3u8'\n"
      "or this, which has both in it:\n"
      "  segmenter-live FOLDER --duration=1 --playlist_name='d.m3u8'\n"},
     "--prefix='/www/a b/' --url_prefix=c --playlist_name=d.m3u8 --window=2"},
};
// clang-format on

using CheckRun = ProgramTest;

/// Starts it with `options` beside --duration=1.
Program start(const std::string& options) {
    return Program(SEGMENTER_CHECK " --duration=1 " + options);
}

} // namespace

TEST_F(CheckRun, SaysOfEachStreamWhatIsWrong) {
    for (const auto& [name, packets, findings, says, options] : rows) {
        SCOPED_TRACE(name);
        const Program program = start(options);
        program.write(packets);
        const Outcome outcome = program.end();
        const std::string& report = outcome.output;
        EXPECT_EQ(outcome.status, findings == "none"s ? 0 : 2);
        EXPECT_NE(report.find("result findings="s + findings + ' '), std::string::npos) << report;
        for (const std::string& piece : says) {
            EXPECT_NE(report.find(piece), std::string::npos) << piece << '\n' << report;
        }
        const bool is_cured = std::any_of(says.begin(), says.end(), [](const std::string& piece) {
            return piece.starts_with(cure_with);
        });
        EXPECT_EQ(report.find("segmenter-align") != std::string::npos, is_cured) << report;
    }
}

TEST_F(CheckRun, PrintsARowOnceASegmentIsCompleteAndTheRestOnASignal) {
    const Program program = start("--window=5");
    program.write(good_stream);
    const std::string text = expectedText("check.txt", "a good stream");
    EXPECT_TRUE(
        eventually([&] { return program.output() == text.substr(0, text.find("         2 ")); }));
    ::kill(program.process(), SIGINT);
    EXPECT_TRUE(eventually([&] { return program.output() == text; }));
    expectOutcome(program.end(), {.output = text});
}

TEST_F(CheckRun, PrintsAFindingWhileTheStreamRuns) {
    for (const auto& [options, packets, line] :
         {std::tuple("--window=4", good_stream, "\n[9] --window=4"),
          {"--window=5", {reordered(), other(4096)}, "\n[4] 4 of 16 timestamps"}}) {
        const Program program = start(options);
        program.write(packets);
        EXPECT_TRUE(eventually([&, text = line] {
            return program.output().find(text) != std::string::npos;
        })) << line;
        EXPECT_EQ(program.end().status, 2);
    }
}

TEST_F(CheckRun, PrintsTheReportsOfRealStreams) {
    for (const auto& [name, arguments] :
         {std::pair("ffmpeg.ts", " --duration=3"), {"gst.ts", " --duration=3 --mux_type=1"}}) {
        SCOPED_TRACE(name);
        const Program check(SEGMENTER_CHECK + std::string(arguments));
        check.write({readFile(ROOT "demo/streams/"s + name)});
        expectOutcome(check.end(), {.status = 2, .output = expectedText("check.txt", name)});
    }
    EXPECT_EQ(Program(SEGMENTER_CHECK).end().status, 1) << "without options";
}
