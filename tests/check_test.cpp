#include "tests/support.h"

#include <regex>

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

const Stream good_stream = {segment(22500), segment(135000), segment(247500)};

/// A stream; the line of its name in check.txt, under "streams", has what is said of it.
struct CheckRow {
    std::string name;
    Stream packets = {};
    std::string options = "--window=5"; ///< beside --duration=1
    std::string program = SEGMENTER_CHECK;
};

// clang-format off
const CheckRow rows[] = {
    {"no packet"},
    {"noise", {std::string(3760, 'x'), counters(0x101, {3, 6}), std::string(3760, 'x')}},
    {"packets of 192 bytes", {spaced(good_stream.bytes, "TIME", "")}},
    {"a byte lost", {good_stream.bytes, other().substr(1), other(30)}},
    {"no PAT", {times(3, table() + pmtOf({0x1B}) + key(0, 0x101))}},
    {"audio first, and reordered frames",
     {table(), pat(), pmtOf({0x0F, 0x1B}), key(9000, 0x101), key(16200, 0x101), key(12600, 0x101)}},
    {"sound alone", {pat(), pmtOf({3}),
     packet({.pid = 0x100, .payload = "\0\0\1\xC0"s + pesHeader(0).substr(4)})}},
    {"an unknown muxer", good_stream, "--window=5 --mux_type=2"},
    {"no SDT", {pat(), pmtOf({0x1B}), frames(1, 5), frames(112501, 5)}},
    {"B-frames between many other packets", {other(300), reordered(), other(3777)}},
    {"a source that restarts, aligned", {reordered(900000), reordered()}, "--window=5 --mux_type=1",
     SEGMENTER_ALIGN " --duration=1 | " SEGMENTER_CHECK},
    {"a pause and a fall, and longer ones",
     {segment(22500), segment(135000, 1), frames(225000, 1), segment(247500, 1), frames(337501, 5),
      frames(247501, 1), frames(67500, 1)}},
    {"two long pauses", {segment(22500), frames(1100000, 5), segment(1212500), frames(1500000, 5),
                         segment(1612500)}},
    {"the clock wraps",
     {segment(pts_modulus - 180000), segment(pts_modulus - 67500), segment(pts_modulus + 45000),
      segment(pts_modulus + 157500)}},
    {"two durations before the first cut", {segment(22500), frames(135000)}},
    {"a segment of no length", {tables, key(1), tables, delta(2), tables, key(2)}, "--duration=0"},
    {"no more than two durations without a cut", {good_stream.bytes, frames(360000, 4)}},
    {"no key frame, or no map, where segments begin",
     {segment(22500, 4), tables, delta(112500), frames(135000, 4), table(), pat(), delta(225000),
      frames(247500, 4), pmtOf({0x1B, 0x0F}), segment(337500)}},
    {"key frames in pieces, one of them in two PES packets, and one without parameter sets",
     {segment(22500), tables, frame(135000, "\x67~"), frame(135000, "\x65"),
      frame(157500, "\x65"), frames(180000, 3), tables, frame(247500, "\x09"),
      packet({.pid = 0x100, .unit_start = false, .payload = "\0\0\1\x67\0\0\1\x65"s}),
      frame(270000, "\x09"), delta(337500), segment(360000)}},
    {"one segment, of HEVC with parameter sets, and no window",
     {table(), pat(), pmtOf({0x24}), frame(1, "\x42\1\0\0\1\x26"s), frame(45001, "\x26")}, ""},
    {"a key frame lost",
     {counters(0x101, {3}), good_stream.bytes, tables, counters(0x101, {5}), delta(405000)}},
    {"no key frame",
     {tables, delta(22500), tables, delta(112500), delta(157500), tables, delta(225000)}},
    {"key frames that come too seldom", {segment(22500, 6), segment(157500, 7), segment(315000)}},
    {"no other key frame for two seconds", {segment(22500, 10)}},
    {"no other key frame for more than ten seconds", {segment(22500, 50)}},
    {"wrong lengths",
     {segment(22500, 3), frames(90000, 3), segment(157500, 3), frames(225000, 3), segment(292500)}},
    {"packets lost on two PIDs, none on two, and others damaged",
     {good_stream.bytes, counters(0x20, {3, 6}), // two
      packet({.pid = 0x22, .counter = 3}), // five and two, without a mark
      packet({.pid = 0x22, .counter = 9, .adaptation = "\1\x7F"}),
      packet({.pid = 0x22, .counter = 12, .adaptation = "\0"s, .payload = "\x80"}),
      counters(0x23, {14, 15, 0, 0, 1, 1, 2}), packet({.pid = 0x23}), counters(0x23, {3}), // right
      packet({.pid = 0x23, .counter = 8, .adaptation = "\1\x80"}), // marked
      counters(0x23, {9}), counters(0x1FFF, {3, 9}), // only fills the stream
      other().replace(1, 1, "\xC1"), other().replace(3, 1, "\x40")}},
    {"a scrambled stream", {tables, times(3, key(0).replace(3, 1, "\x80"))}},
    {"a little of one", {tables, times(2, key(0).replace(3, 1, "\x80"))}},
    {"no duration, and no window", good_stream, "--duration=0"},
    {"words that are no options", {reordered()}, "--duration 4 --windw=6 7"},
    {"what browsers do not play",
     {good_stream.bytes, pat(), pmtOf({0x1B, 1, 2, 3, 4, 0x10, 0x11, 0x24, 0x81, 0x87, 6, 0x0F})}},
};
// clang-format on

using CheckRun = ProgramTest;

} // namespace

TEST_F(CheckRun, SaysOfEachStreamWhatIsWrong) {
    const std::string lines = '\n' + expectedText("check.txt", "streams");
    for (const auto& [name, packets, options, program] : rows) {
        const Program run((program + " --duration=1 ").append(options));
        run.write(packets);
        const Outcome outcome = run.end();
        // In a line each, without the heading of the table and the commands of the cure.
        std::string report = outcome.output.substr(outcome.output.find('\n'));
        report = std::regex_replace(report, std::regex("\n *segmenter-align(.|\n)*\n\n"), "\n");
        report = std::regex_replace(report, std::regex(" *\n+ *"), " | ");
        report = std::regex_replace(report, std::regex(" +"), " ");
        const std::size_t line = lines.find('\n' + name + " | ") + 1;
        EXPECT_EQ(name + report + "status " + std::to_string(outcome.status),
                  lines.substr(line, lines.find('\n', line) - line));
    }
}

TEST_F(CheckRun, PrintsRowsAndFindingsWhileTheStreamRunsAndTheRestOnASignal) {
    const Program program(SEGMENTER_CHECK " --duration=1 --window=5");
    const std::string text = expectedText("check.txt", "packets lost behind a good stream");
    for (const auto& [packets, next] :
         {std::pair(good_stream, "[8]"), {{counters(0x101, {3, 6}), other(230)}, "         2 "}}) {
        program.write(packets);
        const std::string part = text.substr(0, text.find(next));
        EXPECT_TRUE(eventually([&] { return program.output() == part; })) << part;
    }
    ::kill(program.process(), SIGINT);
    EXPECT_TRUE(eventually([&] { return program.output() == text; }));
    expectOutcome(program.end(), {.status = 2, .output = text});
}

TEST_F(CheckRun, PrintsReports) {
    for (const auto& [name, options, stream] :
         {std::tuple("ffmpeg.ts", "--duration=3", readFile(ROOT "demo/streams/ffmpeg.ts")),
          {"gst.ts", "--duration=3 --mux_type=1", readFile(ROOT "demo/streams/gst.ts")},
          {"with all options",
           "--duration=0 --prefix='/www/a b/' --url_prefix=c --playlist_name=d.m3u8 --window=2",
           reordered()}}) {
        SCOPED_TRACE(name);
        const Program check(SEGMENTER_CHECK " --duration=1 "s + options);
        check.write({stream});
        expectOutcome(check.end(), {.status = 2, .output = expectedText("check.txt", name)});
    }
    EXPECT_EQ(Program(SEGMENTER_CHECK).end().status, 1) << "without options";
}
