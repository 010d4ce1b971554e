#include "tests/program.h"

#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <vector>

namespace {

struct SegmenterRun : ProgramTest {};

/// The command of a run for muxer `mux_type`.
std::string segmenter(const std::string& arguments = {}, int mux_type = 0) {
    return SEGMENTER " --mux_type=" + std::to_string(mux_type) + ' ' + arguments;
}

/// The options, as the README lists them.
std::string helpText() {
    const std::string readme = readFile(ROOT "README.md");
    const std::string heading = "## Options\n\n```\n";
    const std::size_t begin = readme.find(heading) + heading.size();
    return readme.substr(begin, readme.find("```", begin) - begin);
}

/// Packets that are cut into three segments, and what is left when the window keeps two.
const Stream three_segments = {video(1), table(), video(2), other(), table(), other()};
constexpr const char* keep_two = "--duration=0 --window=2";
const Outcome two_segments = {.marker = "/www/hls_vod/vid.0000000002.ts\n",
                              .segments = {{"vid.0000000001.ts", {table(), video(2), other()}},
                                           {"vid.0000000002.ts", {table(), other()}}},
                              .texts = {{"live.m3u8", R"(#EXTM3U
#EXT-X-TARGETDURATION:0
#EXT-X-MEDIA-SEQUENCE:0000000001
#EXTINF:0,
vid.0000000001.ts
#EXTINF:0,
vid.0000000002.ts
#EXT-X-ENDLIST
)"}}};

/// The playlist of a run with one segment.
constexpr const char* one_segment = R"(#EXTM3U
#EXT-X-TARGETDURATION:5
#EXT-X-MEDIA-SEQUENCE:0000000000
#EXTINF:5,
vid.0000000000.ts
#EXT-X-ENDLIST
)";

/// A run to the end of its input, and what it leaves.
struct RunRow {
    const char* name;
    void (*before)() = [] {}; ///< makes what the run finds
    std::string arguments{};  ///< shell words behind --mux_type; redirections too
    Stream input{};
    Outcome outcome{};
};

// clang-format off
const RunRow rows[] = {
    {.name = "the duration is 5 s, a partial packet is dropped, files of an earlier run replaced",
     .before = [] { writeFile(marker_path, "of an earlier run");
                    writeFile("vid.0000000000.ts", other(9));
                    writeFile("live.m3u8.tmp", std::string(5000, 'x')); },
     .input = {other(), table(), video(90000), table(), video(540000), table(), "partial"},
     .outcome = {.errors = "",
                 .marker = "/www/hls_vod/vid.0000000001.ts\n",
                 .segments = {{"vid.0000000000.ts", {other(), table(), video(90000)}},
                              {"vid.0000000001.ts", {table(), video(540000), table()}}},
                 .texts = {{"live.m3u8", R"(#EXTM3U
#EXT-X-TARGETDURATION:5
#EXT-X-MEDIA-SEQUENCE:0000000000
#EXTINF:5,
vid.0000000000.ts
#EXTINF:5,
vid.0000000001.ts
#EXT-X-ENDLIST
)"}}}},
    {.name = "files have the prefix in front, and the window deletes them under that name",
     .before = [] { std::filesystem::create_directory("media");
                    writeFile("vid.0000000000.ts", "of someone else"); },
     .arguments = "--duration=0 --window=1 --prefix=media/tv- --url_prefix=/hls "
                  "--playlist_name=list",
     .input = {video(1), table(), other()},
     .outcome = {.marker = "/www/hls_vod/vid.0000000001.ts\n",
                 .segments = {{"media/tv-vid.0000000001.ts", {table(), other()}},
                              {"vid.0000000000.ts", {"of someone else"}}},
                 .texts = {{"media/tv-list", R"(#EXTM3U
#EXT-X-TARGETDURATION:0
#EXT-X-MEDIA-SEQUENCE:0000000001
#EXTINF:0,
/hls/vid.0000000001.ts
#EXT-X-ENDLIST
)"}}}},
    {.name = "an input that cannot be read, as an empty one, leaves a playlist and no marker",
     .arguments = "<.",
     .outcome = {.texts = {{"live.m3u8", R"(#EXTM3U
#EXT-X-TARGETDURATION:5
#EXT-X-MEDIA-SEQUENCE:0000000000
#EXT-X-ENDLIST
)"}}}},
    {.name = "a segment that cannot be created ends the run, and is listed all the same",
     .before = [] { std::filesystem::create_directory("vid.0000000000.ts"); },
     .input = {video(1), other(400), table()}, // more than is read at once
     .outcome = {.output = "File open error! \n",
                 .marker = "/www/hls_vod/vid.0000000000.ts\n",
                 .texts = {{"live.m3u8", one_segment}}}},
    {.name = "a playlist that cannot be replaced leaves the new one beside it",
     .before = [] { std::filesystem::create_directories("live.m3u8/in the way"); },
     .input = {other()},
     .outcome = {.marker = "/www/hls_vod/vid.0000000000.ts\n",
                 .segments = {{"vid.0000000000.ts", {other()}}},
                 .texts = {{"live.m3u8.tmp", one_segment}}}},
    {.name = "a playlist that cannot be written completely does not replace the old one",
     .before = [] { writeFile("live.m3u8", "the old one");
                    std::filesystem::create_symlink("/dev/full", "live.m3u8.tmp"); },
     .input = {other()},
     .outcome = {.marker = "/www/hls_vod/vid.0000000000.ts\n",
                 .segments = {{"vid.0000000000.ts", {other()}}},
                 .texts = {{"live.m3u8", "the old one"}}}},
    {.name = "the help text ends a run before anything is read, and after the marker was removed",
     .before = [] { writeFile(marker_path, "of an earlier run"); },
     .arguments = "--help",
     .input = {table()},
     .outcome = {.status = 1, .output = helpText(), .errors = ""}},
};
// clang-format on

/// True once the file at `path` holds `packets`.
bool eventuallyHolds(const char* path, const Stream& packets) {
    return eventually([&] { return readFile(path) == packets.bytes; });
}

/// Where descriptor `number` of `program` leads.
std::string descriptor(const Program& program, int number) {
    return std::filesystem::read_symlink("/proc/" + std::to_string(program.process) + "/fd/" +
                                         std::to_string(number));
}

} // namespace

TEST_F(SegmenterRun, LeavesWhatTheRowsSay) {
    for (const RunRow& row : rows) {
        for (const int mux_type : {0, 1}) {
            SCOPED_TRACE("row \""s + row.name + "\", muxer " + std::to_string(mux_type));
            beginAnew();
            row.before();
            Program program(segmenter(row.arguments, mux_type));
            program.write(forMuxer(mux_type, row.input));
            Outcome expected = row.outcome;
            for (auto& [name, packets] : expected.segments) {
                packets = forMuxer(mux_type, packets);
            }
            expectOutcome(collect(program.end()), expected);
        }
    }
}

TEST_F(SegmenterRun, WithoutOptionsPrintsTheHelpText) {
    Program program(SEGMENTER);
    expectOutcome(collect(program.end()), {.status = 1, .output = helpText()});
}

TEST_F(SegmenterRun, PublishesASegmentOnceItIsCutAndAPacketOnceItIsWhole) {
    Program program(segmenter(keep_two));
    for (const char byte : three_segments.bytes) {
        program.write({{byte}});
    }
    program.write({"partial"});
    EXPECT_TRUE(eventuallyHolds("vid.0000000002.ts", {table(), other()}));
    EXPECT_EQ(readFile("live.m3u8"), R"(#EXTM3U
#EXT-X-TARGETDURATION:0
#EXT-X-MEDIA-SEQUENCE:0000000001
#EXTINF:0,
vid.0000000001.ts
)");
    EXPECT_FALSE(std::filesystem::exists(marker_path));
    expectOutcome(collect(program.end()), two_segments);
}

TEST_F(SegmenterRun, KeepsWholePacketsOnAFullDiskAndGoesOnWithTheNextSegment) {
    std::filesystem::create_directory("disk");
    ASSERT_EQ(std::system("mount -t tmpfs -o size=64k tmpfs disk"), 0);
    writeFile("disk/filler", std::string(53248, 'f')); // leaves 12288, 4096 of them to a playlist
    Program program(segmenter("--duration=0 --prefix=disk/"));
    program.write({video(1), other(99)});
    EXPECT_TRUE(eventuallyHolds("disk/vid.0000000000.ts", {video(1), other(42)}));
    std::filesystem::remove("disk/filler");
    program.write({other(9), table(), other(99)});
    const Outcome outcome = collect(program.end());
    EXPECT_EQ(outcome.segments.at("disk/vid.0000000000.ts"), (Stream{video(1), other(42)}));
    EXPECT_EQ(outcome.segments.at("disk/vid.0000000001.ts"), (Stream{table(), other(99)}));
    EXPECT_EQ(std::system("umount disk"), 0);
}

TEST_F(SegmenterRun, EndsInOrderOnASignal) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        for (const bool in_a_flood : {false, true}) {
            SCOPED_TRACE("signal " + std::to_string(signal) + (in_a_flood ? " in a flood" : ""));
            beginAnew();
            Program program(segmenter(keep_two));
            program.write(three_segments);
            EXPECT_TRUE(eventuallyHolds("vid.0000000002.ts", {table(), other()}));
            ::kill(program.process, signal);
            for (int rest = in_a_flood ? 1000 : 0; rest > 0 && program.is_read; --rest) {
                program.write({other(300)});
            }
            Outcome outcome = collect(program.waitForEnd());
            std::string& last = outcome.segments.at("vid.0000000002.ts").bytes;
            EXPECT_EQ(last.size() % packet_size, 0U);
            last.resize(std::size_t{2} * packet_size); // more or less of the flood follows
            expectOutcome(outcome, two_segments);
        }
    }
}

TEST_F(SegmenterRun, IsEndedAtOnceByASecondSignal) {
    ::mkfifo("live.m3u8.tmp", 0600); // whoever opens it waits for a reader
    Program program(segmenter());
    program.write({other()});
    EXPECT_TRUE(eventually([] { return std::filesystem::exists("vid.0000000000.ts"); }));
    ::kill(program.process, SIGTERM);
    EXPECT_TRUE(eventually([&] { return descriptor(program, 0) == "/dev/null"; }));
    ::kill(program.process, SIGTERM); // the same one, repeated
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(::waitpid(program.process, nullptr, WNOHANG), 0) << "it has not ended";
    ::kill(program.process, SIGTERM);
    EXPECT_EQ(program.waitForEnd(), 128 + SIGTERM);
}

TEST_F(SegmenterRun, LeavesAnIgnoredSignalIgnored) {
    std::ignore = std::signal(SIGHUP, SIG_IGN);
    Program program(segmenter(keep_two));
    std::ignore = std::signal(SIGHUP, SIG_DFL);
    program.write({video(1)});
    EXPECT_TRUE(eventuallyHolds("vid.0000000000.ts", {video(1)}));
    ::kill(program.process, SIGHUP);
    program.write({table(), video(2), other()});
    EXPECT_TRUE(eventuallyHolds("vid.0000000001.ts", {table(), video(2), other()}));
    program.write({table(), other()});
    expectOutcome(collect(program.end()), two_segments);
}

TEST_F(SegmenterRun, PutsTheNullDeviceInThePlaceOfOutputsThatAreClosed) {
    Program program(segmenter(keep_two + " >&- 2>&-"s));
    program.write(three_segments);
    EXPECT_TRUE(eventuallyHolds("vid.0000000002.ts", {table(), other()}));
    EXPECT_EQ(descriptor(program, 1), "/dev/null");
    EXPECT_EQ(descriptor(program, 2), "/dev/null");
    Outcome expected = two_segments;
    expected.errors = "";
    expectOutcome(collect(program.end()), expected);
}
