#include "playlist/live_playlist.h"
#include "tests/program.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// `seconds` seconds of a stream, each with a key frame: segments with --duration=1.
Stream streamOf(std::uint64_t seconds) {
    std::string packets = pat() + pmtOf({0x1B});
    for (std::uint64_t second = 0; second < seconds; ++second) {
        packets += frames(second * 90000);
    }
    return {packets};
}

/// The segments that the playlist in `folder` lists: "xx xxx" for two of a run, three of the next;
/// "." at the end of an ended stream.
std::string listed(const fs::path& folder = "www") {
    std::string segments;
    const auto playlist = readPlaylist(readFile(folder / "live.m3u8")).value_or(LivePlaylist());
    for (const LiveSegment& segment : playlist.segments) {
        segments += segment.is_discontinuity ? " x" : "x";
    }
    return segments + (playlist.is_ended ? "." : "");
}

/// Tests of segmenter-live, with a segmenter beside it that tells its process.
struct LiveProgram : ProgramTest {
    LiveProgram() {
        fs::create_directory("../bin");
        fs::copy_file(LIVE_FILE, "../bin/segmenter-live");
        std::ofstream("../bin/segmenter")
            << "#!/bin/sh\necho $$ >../segmenter\nexec " SEGMENTER " \"$@\"\n";
        fs::permissions("../bin/segmenter", fs::perms::owner_all);
    }

    /// Starts it with `arguments`, quoted for a shell, in a process group of its own.
    static Program start(const std::string& arguments) {
        return Program("setsid " EMULATOR " ../bin/segmenter-live " + arguments);
    }

    /// A run that has published two of three segments.
    static Program runOfThree(const std::string& options = "") {
        const Program program = start("www --duration=1 --listed=100 " + options);
        program.write(streamOf(3));
        EXPECT_TRUE(eventually([] { return listed().ends_with("xx"); }));
        return program;
    }

    /// True when `program` has ended, or does so soon, while its input stays open.
    static bool endsByItself(const Program& program) {
        const std::string pid = std::to_string(program.process());
        return eventually(
            [&] { return readFile("/proc/" + pid + "/stat").find(") Z ") != std::string::npos; });
    }

    /// A run to which `seconds` seconds of a stream came for a folder.
    static Program publish(const std::string& folder, std::uint64_t seconds) {
        const Program program = start('"' + folder + "\" --duration=1 --listed=100");
        program.write(streamOf(seconds));
        return program;
    }
};

TEST_F(LiveProgram, GoesOnWithTheStreamInFoldersOfAnyNameAndTouchesNothingElse) {
    fs::create_directories("linked/.run/folder");
    fs::create_directory_symlink("linked", "link");
    for (const char* name : {"link/.run/vid.0000000007.ts", "link/film.ts"}) {
        std::ofstream(name) << streamOf(1).bytes;
    }
    for (const auto& [name, list] :
         {std::pair("./-new/two '%s*' words/", "xxxx xxx"), {"link", "x xxxx xxx"}}) {
        for (const std::uint64_t seconds : {4U, 3U}) {
            const Outcome outcome = publish(name, seconds).end();
            EXPECT_EQ(outcome.status, 0);
            EXPECT_EQ(outcome.errors.find("segmenter-live:"), std::string::npos) << outcome.errors;
            EXPECT_TRUE(outcome.marker.ends_with(std::to_string(seconds - 1) + ".ts\n"));
        }
        EXPECT_EQ(listed(name), list);
    }
    EXPECT_EQ(fs::status("link/.run").permissions(), fs::perms::owner_all);
    EXPECT_FALSE(fs::exists("link/.run/folder"));
    EXPECT_EQ(readFile("link/film.ts"), streamOf(1).bytes);
}

TEST_F(LiveProgram, EndsCleanlyOnSignals) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Program program = runOfThree("--end=1");
        ::kill(-program.process(), signal); // as a terminal and systemd do
        EXPECT_TRUE(eventually([&] { return program.output().ends_with("ended live.m3u8\n"); }));
        EXPECT_EQ(program.end().status, 0);
        EXPECT_EQ(listed(), "xxx.");
    }
}

TEST_F(LiveProgram, LeavesToTheNextRunWhatCannotBePublished) {
    fs::create_directories("www/live.m3u8.tmp/full"); // in the way of the playlist
    const Program program = start("www --duration=1 --end=1");
    program.write(streamOf(100)); // more than may wait
    ASSERT_TRUE(eventually([] { return fs::exists("www/.run/vid.0000000055.ts"); }));
    ::kill(program.process(), SIGTERM);
    EXPECT_TRUE(endsByItself(program));
    EXPECT_EQ(program.end().status, 1);
    fs::remove_all("www/live.m3u8.tmp");
    EXPECT_EQ(start("www --listed=200").end().status, 0);
    EXPECT_EQ(listed(), std::string(100, 'x'));
}

TEST_F(LiveProgram, PublishesTheRestWhenTheSegmenterIsKilled) {
    const Program program = runOfThree();
    ::kill(std::stoi(readFile("../segmenter")), SIGKILL);
    EXPECT_TRUE(eventually([] { return listed() == "xxx"; }));
    expectEnd(program, 1, "The segmenter has ended before the stream.\n");
    std::ofstream("../bin/segmenter") << "#!/bin/sh\n"; // one that ends by itself
    const Program other = start("www");
    EXPECT_TRUE(endsByItself(other));
    expectEnd(other, 1, "The segmenter has ended before the stream.\n");
}

TEST_F(LiveProgram, WaitsForTheRunBeforeAndWhatIsLeftOfItOrASignal) {
    const Program before = runOfThree();
    const int stopped = std::stoi(readFile("../segmenter"));
    ::kill(stopped, SIGSTOP);
    ::kill(before.process(), SIGKILL);
    const Program given_up = start("www");
    const auto isOpen = [](const auto& file) { // the folder, which it waits to lock
        std::error_code error;
        return fs::equivalent(file.path(), "www", error);
    };
    const std::string files = "/proc/" + std::to_string(given_up.process()) + "/fd";
    EXPECT_TRUE(eventually([&] { return std::any_of(fs::directory_iterator(files), {}, isOpen); }));
    ::kill(given_up.process(), SIGTERM);
    expectEnd(given_up, 1, "in use by another segmenter-live, or by its segmenter.\n");
    const Program next = publish("www", 3);
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(listed(), "xx");
    ::kill(stopped, SIGCONT);
    EXPECT_TRUE(eventually([] { return listed() == "xxx xx"; }));
    EXPECT_EQ(next.end().status, 0);
    EXPECT_EQ(listed(), "xxx xxx");
    EXPECT_EQ(before.end().status, 128 + SIGKILL);
}

TEST_F(LiveProgram, EndsWhenNoPacketComes) {
    const Program program = runOfThree("--timeout=1 --end=1");
    EXPECT_TRUE(endsByItself(program));
    expectEnd(program, 1, "No packet of the stream came for 1 s.\n");
    EXPECT_EQ(listed(), "xxx");
    const Program other = start("www");
    other.write({"no stream at all"});
    expectEnd(other, 0, "segmenter-live: No transport stream came.\n");
}

TEST_F(LiveProgram, WaitsForNoReader) {
    ASSERT_EQ(::mkfifo("unread", 0600), 0);
    const int unread = ::open("unread", O_RDWR | O_NONBLOCK);
    while (::write(unread, "a full pipe", 11) > 0) {
    }
    const Program program = start("www --duration=1 >unread 2>unread");
    program.write(streamOf(4));
    EXPECT_EQ(program.end().status, 0);
    EXPECT_EQ(listed(), "xxxx");
    ::close(unread);
    EXPECT_EQ(start("www --duration=1 <&- >&- 2>&-").end().status, 0);
}

TEST_F(LiveProgram, RefusesFoldersThatItCannotUse) {
    fs::create_directories("linked/elsewhere");
    fs::create_directory_symlink("elsewhere", "linked/.run");
    fs::create_directories("unreadable/live.m3u8");
    fs::create_directory("torn");
    for (const char* path : {"file", "torn/live.m3u8"}) {
        std::ofstream(path) << "half a playl";
    }
    for (const auto& [folder, warning] :
         {std::pair("file", "file cannot be used: "),
          {"file/www", "file/www cannot be used: "},
          {"linked", "linked/.run cannot be used: "},
          {"unreadable", "unreadable/live.m3u8 cannot be used: "},
          {"torn", "torn/live.m3u8 is not a playlist of this program: a new stream takes its"}}) {
        expectEnd(publish(folder, 2), folder == "torn"s ? 0 : 1, warning);
    }
    EXPECT_TRUE(fs::is_empty("linked/elsewhere"));
    EXPECT_EQ(listed("torn"), "xx");
}

TEST_F(LiveProgram, RefusesArgumentsThatMakeNoSense) {
    // clang-format off
    const std::pair<const char*, std::vector<const char*>> rows[] = {
        {": it takes a number, ",
         {"--duration=0", "--duration=3601", "--duration=4.04", "--duration=", "--listed=2",
          "--listed=5001", "--end=2", "--timeout=-1"}},
        {": it takes a file name ",
         {"--playlist_name=../a", "--playlist_name=a..b", "--playlist_name=.run",
          "--playlist_name=", "--playlist_name=1f6a03c2.0000000018.ts"}},
        {": there is no such option;", {"--window=9", "--duration", "--name=x", "-h"}},
        {": it takes one folder.", {"two", "''"}},
    };
    // clang-format on
    for (const auto& [refusal, arguments] : rows) {
        for (const std::string argument : arguments) {
            const std::string named = argument == "''" ? "" : argument;
            expectEnd(start("www " + argument), 2, "segmenter-live: " + named + refusal);
            EXPECT_TRUE(fs::is_empty(".")) << argument;
        }
    }
    EXPECT_EQ(start("--duration=4").end().status, 2) << "without a folder";
    const Outcome help = start("--help").end();
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.output.starts_with("usage: segmenter-live FOLDER [OPTION...] < STREAM\n"));
}

} // namespace
