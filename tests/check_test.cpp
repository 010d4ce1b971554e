#include "check/findings.h"
#include "check/report.h"
#include "check/stream_reader.h"
#include "check/text.h"
#include "tests/program.h"

#include <sstream>
#include <utility>
#include <vector>

namespace {

/// What check.txt says under the heading `name`.
std::string expectedText(const std::string& name) {
    const std::string texts = readFile(ROOT "tests/check.txt");
    const std::string heading = "== " + name + '\n';
    const std::size_t begin = texts.find(heading);
    return begin == std::string::npos
               ? "nothing stands under this heading"
               : texts.substr(begin + heading.size(),
                              texts.find("== ", begin + 1) - begin - heading.size());
}

// More packets in words.

/// A program association table with the program map table of one program on PID 0x1000.
std::string pat() {
    return packet({.pid = 0, .payload = "\0\0\xB0\x0D\0\1\xC1\0\0\0\1\xF0\0CRC4"s});
}

std::string pmt() { return packet({.pid = 0x1000}); }

/// The first packet of a frame with which decoding can begin.
std::string keyFrame(std::uint64_t pts) {
    return packet({.pid = 0x100, .adaptation = "\1\x40", .payload = pesHeader(pts)});
}

/// A key frame at `pts` and four other frames, a quarter of a second apart.
std::string fiveFrames(std::uint64_t pts) {
    return keyFrame(pts) + video(pts + 22500) + video(pts + 45000) + video(pts + 67500) +
           video(pts + 90000);
}

/// All tables and five frames: a segment that players can begin with, when the duration is 1.
std::string goodSegment(std::uint64_t pts) { return table() + pat() + pmt() + fiveFrames(pts); }

struct CheckRun : ProgramTest {};

struct StreamRow {
    const char* name; ///< and the heading of what is printed, in check.txt
    Options settings = {.duration = 1, .window = 6};
    Stream packets;
};

const Stream good_stream = {goodSegment(22500), goodSegment(135000), goodSegment(247500)};

// clang-format off
const StreamRow streams[] = {
    {.name = "a good stream", .packets = good_stream},
    {.name = "the clock begins anew",
     .packets = {goodSegment(pts_modulus - 157500), goodSegment(pts_modulus - 45000),
                 goodSegment(pts_modulus + 67500), goodSegment(pts_modulus + 180000)}},
    {.name = "B-frames",
     .packets = {table(), pat(), pmt(), keyFrame(45000), video(112500), video(67500), video(90000),
                 table(), keyFrame(135000), video(202500), video(157500), video(180000),
                 table(), keyFrame(225000), video(292500), video(247500), video(270000)}},
    {.name = "the source begins anew",
     .packets = {goodSegment(0), table(), keyFrame(112500), video(400000), video(200000),
                 video(300000), table(), keyFrame(400000)}},
    {.name = "tables behind the video, no key frames",
     .packets = {packet({.pid = 0x100, .adaptation = "\1\xBF", .payload = pesHeader(22500)}),
                 table(), packet({.pid = 0x100}), pat(), pmt(), video(44550),
                 table(), pat(), video(135000), pmt(), video(157500),
                 table(), pmt(), video(247500)}},
    {.name = "segments without video", .settings = {.duration = -1},
     .packets = {video(90000), table(), table(), other(2), table()}},
    {.name = "one segment", .settings = {.duration = 3}, .packets = {pat(), keyFrame(0)}},
    {.name = "GStreamer's stream for FFmpeg",
     .packets = forMuxer(1, {goodSegment(0), goodSegment(112500), video(180001)})},
    {.name = "video on five other PIDs", .settings = {.duration = 4, .window = 6},
     .packets = {packet({.pid = 0x44, .payload = pesHeader(0)}),
                 packet({.pid = 0x41, .payload = pesHeader(0)}),
                 packet({.pid = 0x42, .payload = pesHeader(0)}),
                 packet({.pid = 0x41, .payload = pesHeader(0)}),
                 packet({.pid = 0x1FF, .payload = pesHeader(0)}),
                 packet({.pid = 0x43, .payload = pesHeader(0)}), table()}},
    {.name = "an unknown muxer", .settings = {.duration = 1, .window = 6, .mux_type = 2},
     .packets = {table(), fiveFrames(0), pat(), pmt(), fiveFrames(112500)}},
    {.name = "an empty stream", .packets = {}},
};

struct FactRow {
    const char* name;
    Stream packets;
    std::uint64_t lost = 0;
    std::int64_t uncut_time = 0;
};

std::string counter(unsigned value) { return packet({.counter = value}); }

const FactRow fact_rows[] = {
    {.name = "counters modulo 16", .packets = {counter(14), counter(15), counter(0)}},
    {.name = "two packets missing", .packets = {counter(3), counter(6)}, .lost = 2},
    {.name = "twice", .packets = {counter(0), counter(0), counter(1), counter(1), counter(2)}},
    {.name = "three times", .packets = {counter(3), counter(3), counter(3)}, .lost = 15},
    {.name = "another PID", .packets = {counter(3), packet({.pid = 6, .counter = 9}), counter(4)}},
    {.name = "without a payload",
     .packets = {counter(3), other(), counter(4)}},
    {.name = "only to fill the stream",
     .packets = {packet({.pid = 0x1FFF, .counter = 3}), packet({.pid = 0x1FFF, .counter = 9})}},
    {.name = "a jump that is marked",
     .packets = {counter(3), packet({.counter = 9, .adaptation = "\1\x80"}), counter(10)}},
    {.name = "one that is not",
     .packets = {counter(3), packet({.counter = 9, .adaptation = "\1\x7F"})}, .lost = 5},
    {.name = "an adaptation field without room for a mark",
     .packets = {counter(3), packet({.counter = 9, .adaptation = "\0"s, .payload = "\x80"})},
     .lost = 5},
    {.name = "B-frames", .packets = {video(180000), video(0), video(1)}, .uncut_time = -179999},
    {.name = "a restart", .packets = {video(180001), video(0), video(1)}, .uncut_time = 1},
    {.name = "ten seconds", .packets = {video(0), video(900000)}, .uncut_time = 900000},
    {.name = "a jump", .packets = {video(0), video(900001), video(900002)}, .uncut_time = 1},
};

/// A good stream from FFmpeg but for the change.
struct FindingRow {
    const char* name; ///< and the heading of the findings in check.txt
    Options settings = {.duration = 4, .window = 6};
    void (*change)(StreamFacts&) = [](StreamFacts&) {};
};

const Options from_gst = {.duration = 4, .window = 6, .mux_type = 1};

UsualValue usual(std::uint64_t value) {
    UsualValue values;
    values.add(value);
    return values;
}

StreamFacts goodFacts() {
    StreamFacts facts;
    facts.packets = 1000;
    facts.cut_packets = facts.segments = facts.with_video = 6;
    facts.with_key_frame = facts.with_tables = 6;
    facts.frames = 500;
    facts.steps = 499;
    facts.video_time = std::int64_t{499} * 3600;
    facts.frame_steps = usual(3600);
    facts.key_frame_distances = usual(363600);
    facts.measured = 5;
    facts.lengths = usual(404);
    return facts;
}

/// So many sync bytes are missing; `beginning` is said, by `count` packets of `size` bytes, the
/// first at `offset`, and one byte more.
void spoil(StreamFacts& facts, std::uint64_t missing, std::size_t size, std::size_t offset,
           int count = 8) {
    facts.without_sync_byte = missing;
    facts.first_without_sync_byte = 77;
    facts.beginning = std::string(offset, 'x');
    for (; count > 0; --count) {
        facts.beginning += '\x47' + std::string(size - 1, 'x');
    }
    facts.beginning += '\x47';
}

const FindingRow finding_rows[] = {
    {.name = "nothing"},
    {.name = "192 bytes a packet", .change = [](auto& facts) { spoil(facts, 900, 192, 4); }},
    {.name = "192 bytes a packet from GStreamer",
     .settings = from_gst, .change = [](auto& facts) { spoil(facts, 900, 192, 4); }},
    {.name = "204 bytes a packet", .change = [](auto& facts) { spoil(facts, 900, 204, 0); }},
    {.name = "bytes missing", .change = [](auto& facts) { spoil(facts, 499, 188, 3); }},
    {.name = "half of all missing", .change = [](auto& facts) { spoil(facts, 500, 188, 0); }},
    {.name = "half a packet first", .change = [](auto& facts) { spoil(facts, 999, 188, 187); }},
    {.name = "random bytes", .change = [](auto& facts) { spoil(facts, 999, 188, 1, 7); }},
    {.name = "random bytes from GStreamer",
     .settings = from_gst, .change = [](auto& facts) { spoil(facts, 999, 188, 0, 0); }},
    {.name = "no video", .change = [](auto& facts) { facts.frames = 0; }},
    {.name = "FFmpeg's video for GStreamer", .settings = from_gst,
     .change = [](auto& facts) { facts.frames = 0; facts.other_video.add(0x100); }},
    {.name = "video on another pad of GStreamer", .settings = from_gst,
     .change = [](auto& facts) { facts.frames = 0; facts.other_video.add(0x41); }},
    {.name = "video on another PID of FFmpeg",
     .change = [](auto& facts) { facts.frames = 0; facts.other_video.add(0x101); }},
    {.name = "video on another PID of FFmpeg for GStreamer", .settings = from_gst,
     .change = [](auto& facts) { facts.frames = 0; facts.other_video.add(0x101); }},
    {.name = "GStreamer's video for no known muxer",
     .settings = {.duration = 4, .window = 6, .mux_type = 2},
     .change = [](auto& facts) { facts.other_video.add(0x40); }},
    {.name = "no video for no known muxer",
     .settings = {.duration = 4, .window = 6, .mux_type = -1},
     .change = [](auto& facts) { facts.frames = 0; }},
    {.name = "no table", .change = [](auto& facts) { facts.cut_packets = 0; }},
    {.name = "a fall",
     .change = [](auto& facts) { facts.reordered = 1; facts.uncut_time = 720001; }},
    {.name = "a restart",
     .change = [](auto& facts) { facts.restarts = 1; facts.uncut_time = 720001;
                                 facts.lost.add(0x100); }},
    {.name = "two durations", .change = [](auto& facts) { facts.uncut_time = 720000; }},
    {.name = "more than two", .change = [](auto& facts) { facts.uncut_time = 720001; }},
    {.name = "key frames late", .change = [](auto& facts) { facts.with_key_frame = 1; }},
    {.name = "tables late", .change = [](auto& facts) { facts.with_tables = 5; }},
    {.name = "both late, at 29.97 frames a second",
     .change = [](auto& facts) { facts.with_key_frame = 5; facts.with_tables = 0;
                                 facts.frame_steps = usual(3003);
                                 facts.video_time = std::int64_t{499} * 3003;
                                 facts.key_frame_distances = {}; }},
    {.name = "key frames late, no frame rate",
     .change = [](auto& facts) { facts.with_key_frame = 0; facts.video_time = 0; }},
    {.name = "key frames late, a duration of 0", .settings = {.duration = 0, .window = 6},
     .change = [](auto& facts) { facts.with_key_frame = 0; }},
    {.name = "key frames far apart",
     .change = [](auto& facts) { facts.with_key_frame = 0;
                                 facts.key_frame_distances = usual(900000); }},
    {.name = "lengths that another duration fits",
     .change = [](auto& facts) { facts.misstated = 5; facts.lengths = usual(349); }},
    {.name = "lengths without room for a cut to fall due",
     .change = [](auto& facts) { facts.misstated = 5; facts.lengths = usual(301); }},
    {.name = "lengths that round up",
     .change = [](auto& facts) { facts.misstated = 5; facts.lengths = usual(350); }},
    {.name = "lengths of less than a second",
     .change = [](auto& facts) { facts.misstated = 5; facts.lengths = usual(40); }},
    {.name = "lengths of more than a second",
     .change = [](auto& facts) { facts.misstated = 5; facts.lengths = usual(102); }},
    {.name = "one odd length", .change = [](auto& facts) { facts.misstated = 1; }},
    {.name = "packets lost",
     .change = [](auto& facts) { facts.lost.add(0x100, 2); facts.lost.add(0x11); }},
    {.name = "much from GStreamer", .settings = from_gst,
     .change = [](auto& facts) { facts.cut_packets = 0; facts.reordered = 2;
                                 facts.uncut_time = 720001; facts.with_tables = 5;
                                 facts.lost.add(0x40); }},
    {.name = "a duration of 0", .settings = {.duration = 0, .window = 6},
     .change = [](auto& facts) { facts.misstated = 1; facts.uncut_time = 1; }},
    {.name = "a duration of 1", .settings = {.duration = 1, .window = 6}},
    {.name = "a window of 4", .settings = {.duration = 4, .window = 4}},
    {.name = "a window of 5", .settings = {.duration = 4, .window = 5}},
    {.name = "a negative window", .settings = {.duration = 4, .window = -1}},
    {.name = "no window", .settings = {.duration = 4}},
    {.name = "no window for one segment", .settings = {.duration = 4},
     .change = [](auto& facts) { facts.segments = 1; }},
};
// clang-format on

/// Reads `packets`, writes the rows of the segments, and returns the facts.
StreamFacts read(Options settings, Stream packets, std::ostream& rows) {
    StreamReader reader(settings);
    for (std::size_t at = 0; at < packets.bytes.size(); at += packet_size) {
        if (const SegmentFacts* segment = reader.take(&packets.bytes[at])) {
            writeRow(rows, *segment);
        }
    }
    while (const SegmentFacts* segment = reader.takeEnd()) {
        writeRow(rows, *segment);
    }
    return reader.facts();
}

constexpr const char* heading = "   segment    packets    seconds   PAT   PMT   SDT   key-frame\n";

} // namespace

TEST(Check, SaysOfEachStreamWhatTheTextSays) {
    for (const StreamRow& row : streams) {
        std::ostringstream out;
        const StreamFacts facts = read(row.settings, row.packets, out);
        writeSummary(out, facts, row.settings);
        writeFindings(out, findFindings(facts, row.settings));
        EXPECT_EQ(out.str(), expectedText(row.name)) << row.name;
    }
}

TEST(Check, NotesWhatTheRowsSay) {
    for (const FactRow& row : fact_rows) {
        std::ostringstream out;
        const StreamFacts facts = read({}, row.packets, out);
        EXPECT_EQ(facts.lost.total(), row.lost) << row.name;
        EXPECT_EQ(facts.uncut_time, row.uncut_time) << row.name;
    }
}

TEST(Check, KeepsWhatAStreamBeginsWith) {
    std::ostringstream out;
    const std::string bad = packet({}).replace(0, 1, "x");
    const StreamFacts facts = read({}, {other(29), bad, other(), bad}, out);
    EXPECT_EQ(facts.packets, 32U);
    EXPECT_EQ(facts.without_sync_byte, 2U);
    EXPECT_EQ(facts.first_without_sync_byte, 29U);
    EXPECT_EQ(facts.beginning, Stream{other(22)}.bytes.substr(0, 4096));
}

TEST(Check, TellsTheFrameRateBySteps) {
    const auto rate = [](std::uint64_t steps, std::int64_t video_time, std::uint64_t step) {
        StreamFacts facts;
        facts.steps = steps;
        facts.video_time = video_time;
        facts.frame_steps = usual(step);
        return frameRate(facts);
    };
    EXPECT_EQ(rate(0, 0, 0), 0);
    EXPECT_EQ(rate(3, -1, 3600), 0) << "all of them back";
    EXPECT_EQ(rate(100, 360000, 3600), 25);
    EXPECT_EQ(rate(100, 360000, 7200), 25) << "a step that comes by chance";
    EXPECT_EQ(rate(100, 360100, 3601), 25) << "a tick more than it is";
    EXPECT_EQ(rate(100, 725900, 7259), 90000.0 / 7259) << "12.4 frames";
    EXPECT_EQ(rate(100, 375400, 3754), 24 / 1.001);
    EXPECT_EQ(rate(100, 300300, 3003), 30 / 1.001);
}

TEST(Check, WrapsTextAtBlanks) {
    std::ostringstream out;
    writeWrapped(out, "[1] ", "a " + std::string(77, 'b') + " c " + std::string(74, 'd') + " e");
    EXPECT_EQ(out.str(), "[1] a\n    " + std::string(77, 'b') + "\n    c " + std::string(74, 'd') +
                             "\n    e\n");
}

TEST(Check, FindsTheUsualValueAmongMany) {
    UsualValue values; // of eight that are counted, each gives way to a ninth
    for (const unsigned value : {7U, 7U, 1U, 2U, 3U, 4U, 5U, 6U, 8U, 9U, 10U, 10U}) {
        values.add(value);
    }
    EXPECT_EQ(values.get(), 10U);
}

TEST(Check, FindsWhatTheTextSays) {
    for (const FindingRow& row : finding_rows) {
        StreamFacts facts = goodFacts();
        row.change(facts);
        std::ostringstream out;
        writeFindings(out, findFindings(facts, row.settings));
        EXPECT_EQ(out.str(), expectedText(row.name)) << row.name;
    }
}

TEST_F(CheckRun, PrintsARowOnceASegmentIsCompleteAndTheRestOnASignal) {
    Program program(SEGMENTER_CHECK " --duration=1 --window=6");
    program.write(good_stream);
    const std::string rows = expectedText("a good stream").substr(0, std::size_t{2} * 63);
    EXPECT_TRUE(eventually([&] { return readFile(output_path) == heading + rows; }));
    ::kill(program.process, SIGINT);
    expectOutcome(collect(program.waitForEnd()),
                  {.output = heading + expectedText("a good stream"), .errors = ""});
}

TEST_F(CheckRun, PrintsTheSegmentsThatTheSegmenterCuts) {
    for (const auto& [name, arguments] :
         {std::pair("ffmpeg.ts", " --duration=3"), {"gst.ts", " --duration=3 --mux_type=1"}}) {
        const std::string stream = readFile(ROOT "demo/streams/"s + name);
        Program check(SEGMENTER_CHECK + std::string(arguments));
        check.write({stream});
        const Outcome checked = collect(check.end());
        expectOutcome(checked, {.status = 2, .output = heading + expectedText(name), .errors = ""});
        Program segmenter(SEGMENTER + std::string(arguments));
        segmenter.write({stream});
        std::istringstream rows(checked.output.substr(checked.output.find('\n')));
        std::string all;
        for (const auto& [path, segment] : collect(segmenter.end()).segments) {
            std::size_t number = 0;
            std::size_t packets = 0;
            std::string rest;
            std::getline(rows >> number >> packets, rest);
            EXPECT_EQ(packets, segment.bytes.size() / packet_size) << name << ", " << path;
            all += segment.bytes;
        }
        EXPECT_TRUE(all == stream) << name << " is not what the segments hold";
        beginAnew();
    }
    Program without_options(SEGMENTER_CHECK);
    EXPECT_EQ(without_options.end(), 1);
}
