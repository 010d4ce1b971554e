#include "process/signals.h"
#include "segmenter/segment_file.h"
#include "tests/support.h"

#include <sys/stat.h>
#include <sys/uio.h>

#include <vector>

namespace {

using SegmenterRun = ProgramTest;

/// Starts the segmenter with these options, by way of another command if need be, where an earlier
/// run has left its marker.
Program start(const std::string& options, const std::string& by = "") {
    std::ofstream(marker_path) << "of an earlier run";
    return Program(by + SEGMENTER " " + options);
}

Stream playlist(const char* name) { return {expectedText("playlists.txt", name)}; }

/// A run to the end of its input, and what it leaves.
struct RunRow {
    const char* name;
    void (*before)() = [] {};               ///< makes what the run finds
    std::string by{};                       ///< a command that starts the segmenter
    std::string arguments = "--mux_type=0"; ///< shell words; redirections too
    Stream input{};
    Outcome outcome{};
};

// clang-format off
// NOLINTNEXTLINE(cppcoreguidelines-interfaces-global-init): GoogleTest's names
const RunRow rows[] = {
    {.name = "names have their prefixes; files of an earlier run are replaced, old ones deleted; "
             "segments that have ended hold no descriptor, and so never use all up",
     .before = [] { fs::create_directory("media");
                    std::ofstream("media/tv-vid.0000000099.ts") << other(9);
                    std::ofstream("media/tv-list.tmp") << std::string(5000, 'x');
                    std::ofstream("media/tv-list") << "being read";
                    fs::create_hard_link("media/tv-list", "reader");
                    std::ofstream("vid.0000000000.ts") << "of someone else"; },
     .arguments = "--duration=-1 --window=1 --prefix=media/tv- --url_prefix=/hls "
                  "--playlist_name=list",
     .input = {video(200000), times(99, table()), other()},
     .outcome = {.marker = "/www/hls_vod/vid.0000000099.ts\n",
                 .files = {{"media/tv-vid.0000000099.ts", {table(), other()}},
                           {"vid.0000000000.ts", {"of someone else"}}, {"reader", {"being read"}},
                           {"media/tv-list", playlist("the hundredth segment, with prefixes")}}}},
    {.name = "an input that cannot be read leaves a playlist and no marker",
     .arguments = "--duration=-1 <.",
     .outcome = {.files = {{"live.m3u8", playlist("no segment")}}}},
    {.name = "a segment that cannot be created ends the run: it has an entry, the window stays",
     .before = [] { fs::create_directory("vid.0000000001.ts"); },
     .arguments = "--window=1",
     .input = {video(1), table(), video(900000), table(), other(400), // more than is read at once
               video(900000), table()},
     .outcome = {.output = "File open error! \n", .marker = "/www/hls_vod/vid.0000000001.ts\n",
                 .files = {{"vid.0000000000.ts", {video(1)}},
                           {"live.m3u8", playlist("two segments")}}}},
    {.name = "on a full disk a segment keeps whole packets, and the next one is begun",
     .by = "prlimit --fsize=512 ",
     .input = {video(1), other(9), table(), other()},
     .outcome = {.marker = "/www/hls_vod/vid.0000000001.ts\n",
                 .files = {{"vid.0000000000.ts", {video(1), other()}},
                           {"vid.0000000001.ts", {table(), other()}},
                           {"live.m3u8", playlist("two segments")}}}},
    {.name = "a playlist that cannot be written completely does not replace the old one; errors "
             "that nobody reads cost nothing",
     .before = [] { std::ofstream("live.m3u8") << "the old one";
                    fs::create_symlink("/dev/full", "live.m3u8.tmp");
                    ::mkfifo("unread", 0600); },
     .arguments = "--unknown 3<>unread 2>unread 3<&-",
     .input = {other()},
     .outcome = {.marker = "/www/hls_vod/vid.0000000000.ts\n",
                 .files = {{"vid.0000000000.ts", {other()}}, {"live.m3u8", {"the old one"}}}}},
};
// clang-format on

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
std::vector<int> failures; // of the next writes of this process: errors, 0 to write nothing
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
pid_t process = 2; // what this process is told that it is

bool eventuallyHolds(const char* path, const Stream& packets) {
    return eventually([&] { return readFile(path) == packets.bytes; });
}

} // namespace

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's own
extern "C" ssize_t write(int file, const void* bytes, std::size_t size) {
    if (failures.empty()) {
        const iovec all = {const_cast<void*>(bytes), size};
        return ::writev(file, &all, 1);
    }
    errno = failures.back();
    failures.pop_back();
    return errno == 0 ? 0 : -1;
}

extern "C" pid_t getpid() noexcept { return process; }

TEST_F(SegmenterRun, LeavesWhatTheRowsSay) {
    for (const RunRow& row : rows) {
        SCOPED_TRACE(row.name);
        const Folder own;
        row.before();
        const Program program = start(row.arguments, row.by);
        program.write(row.input);
        expectOutcome(program.end(), row.outcome);
    }
}

TEST_F(SegmenterRun, ListsItsOptionsAsTheReadmeDoesAndWritesNothing) {
    const Outcome outcome = start("--help").end();
    const std::string lines = "```\n" + outcome.output + "```\n";
    EXPECT_NE(readFile(ROOT "README.md").find(lines), std::string::npos) << lines;
    expectOutcome(outcome, {.status = 1, .output = outcome.output});
}

TEST_F(SegmenterRun, RemovesTheMarkerOfTheMachineAndEndsOnASignalThatComesMeanwhile) {
    std::ofstream("../rm") << "#!/bin/sh\necho rm \"$@\"; kill -INT $(cat ../*.process)\n";
    fs::permissions("../rm", fs::perms::owner_all);
    ASSERT_EQ(::access("../rm", X_OK), 0) << "or the machine's rm would be run";
    const Program program("env PATH=..:\"$PATH\" " SHIPPED_SEGMENTER " --duration=-1");
    EXPECT_TRUE(eventually([] { return fs::exists("live.m3u8"); }));
    expectOutcome(program.end(), {.output = "rm /var/run/vod\n",
                                  .files = {{"live.m3u8", playlist("no segment")}}});
}

TEST_F(SegmenterRun, HidesSegmentsFromChildrenAndTakesNoMoreAfterAWriteThatWritesNothing) {
    SegmentFile file;
    EXPECT_TRUE(file.open("segment"));
    EXPECT_NE(std::system("ls -l /proc/self/fd | grep -q /segment$"), 0);
    failures = {EINTR, EINTR}; // the same is written again
    file.append(other(2));
    failures = {0};
    file.append(table());
    file.append(table());
    EXPECT_TRUE(eventuallyHolds("segment", {other(2)}));
}

TEST_F(SegmenterRun, PublishesWhatIsWholeAndEndsInOrderOnASignal) {
    const Stream closing = playlist("two segments, the first deleted");
    // For one of them, reads fail where there is nothing to read yet.
    const char* const non_blocking =
        "sh -c 'dd iflag=nonblock count=0 status=none; exec \"$@\"' sh ";
    for (const auto& [signal, by] :
         {std::pair(SIGINT, ""), {SIGTERM, ""}, {SIGHUP, non_blocking}}) {
        SCOPED_TRACE(signal);
        const Folder own;
        const Program program = start("--duration=0 --window=2", by);
        program.write({video(1), table(), video(2), other(), table(), other().substr(0, 187)});
        EXPECT_TRUE(eventuallyHolds("vid.0000000002.ts", {table()}));
        program.write({other().substr(187), "partial"});
        EXPECT_TRUE(eventuallyHolds("vid.0000000002.ts", {table(), other()}));
        EXPECT_EQ(readFile("live.m3u8") + "#EXTINF:0,\nvid.0000000002.ts\n#EXT-X-ENDLIST\n",
                  closing.bytes);
        EXPECT_FALSE(fs::exists(marker_path));
        EXPECT_EQ(fs::status("vid.0000000002.ts").permissions(),
                  fs::status("live.m3u8").permissions());
        ::kill(program.process(), signal);
        EXPECT_TRUE(eventually([] { return fs::exists(marker_path); }));
        expectOutcome(program.end(), {.marker = "/www/hls_vod/vid.0000000002.ts\n",
                                      .files = {{"vid.0000000001.ts", {table(), video(2), other()}},
                                                {"vid.0000000002.ts", {table(), other()}},
                                                {"live.m3u8", closing}}});
    }
}

TEST_F(SegmenterRun, IsEndedAtOnceByASecondSignal) {
    const auto raise = [](pid_t own_process) {
        process = own_process;
        endInputOnSignals();
        std::ignore = std::raise(SIGHUP);
        std::ignore = std::raise(SIGTERM); // the two count as one
        std::this_thread::sleep_for(300ms);
        std::cerr << "goes on";
        std::ignore = std::raise(SIGTERM);
    };
    EXPECT_EXIT(raise(2), testing::KilledBySignal(SIGTERM), "goes on");
    EXPECT_EXIT(raise(1), testing::ExitedWithCode(128 + SIGTERM), "goes on") << "in a container";
}

TEST_F(SegmenterRun, WritesTheMarkerThoughSignalsReachAllThatItHasStarted) {
    const Program program = start("--mux_type=0", "setsid ");
    program.write({video(1)});
    EXPECT_TRUE(eventuallyHolds("vid.0000000000.ts", {video(1)}));
    ::mkfifo(marker_path, 0600); // whoever opens it waits for a reader
    ::kill(program.process(), SIGTERM);
    const std::string process = std::to_string(program.process());
    const std::string children = "/proc/" + process + "/task/" + process + "/children";
    EXPECT_TRUE(eventually([&] { return !readFile(children).empty(); }));
    std::this_thread::sleep_for(300ms); // until the shell waits
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::kill(-program.process(), signal);
    }
    EXPECT_EQ(std::system("timeout 5 cat ../vod >../marker; mv ../marker ../vod"), 0);
    EXPECT_EQ(program.end().marker, "/www/hls_vod/vid.0000000000.ts\n");
}

TEST_F(SegmenterRun, GoesOnWithASignalThatIsIgnoredAndWithOutputsThatAreClosed) {
    const Program program = start("--mux_type=0 >&- 2>&-", "nohup ");
    for (const int count : {1, 2, 3}) { // the second may be read before the signal comes
        program.write({other()});
        EXPECT_TRUE(eventuallyHolds("vid.0000000000.ts", {other(count)}));
        ::kill(program.process(), SIGHUP);
    }
    for (const char* output : {"1", "2"}) {
        const std::string link = "/proc/" + std::to_string(program.process()) + "/fd/" + output;
        EXPECT_EQ(fs::read_symlink(link), "/dev/null");
    }
    EXPECT_EQ(program.end().status, 0);
}
