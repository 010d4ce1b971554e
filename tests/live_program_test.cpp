#include "tests/support.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

/// `seconds` seconds of a stream, each with a key frame: segments with --duration=1.
Stream streamOf(std::uint64_t seconds) {
    std::string packets = pat() + pmtOf({0x1B});
    for (std::uint64_t second = 0; second < seconds; ++second) {
        packets += frames(second * 90000);
    }
    return {packets};
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
    static Program start(const std::string& arguments, const Stream& stream = {""}) {
        const Program program(
            "setsid " EMULATOR " ../bin/segmenter-live --duration=1 --listed=100 " + arguments);
        program.write(stream);
        return program;
    }

    /// A run that has published two of three segments.
    static Program runOfThree(const std::string& options = "") {
        const Program program = start("www " + options, streamOf(2));
        EXPECT_TRUE(eventually([] { return listed() == "0/0 1 s: 1.000"; }));
        program.write({frames(180000)});
        EXPECT_TRUE(eventually([] { return listed().ends_with(" 1.000 1.000"); }));
        return program;
    }

    /// Expects that `program` fails with `message` while its input stays open.
    static void expectFailure(const Program& program, const std::string& message) {
        const std::string status = "/proc/" + std::to_string(program.process()) + "/stat";
        EXPECT_TRUE(eventually([&] { return readFile(status).find(") Z ") != std::string::npos; }));
        expectEnd(program, 1, message);
    }
};

TEST_F(LiveProgram, GoesOnWithTheStreamInAFolderOfAnyNameAndTouchesNothingElse) {
    fs::create_directory_symlink("linked", "-link");
    const fs::path folder = "linked/two '%s*' words";
    fs::create_directories(folder / ".run/folder");
    for (const char* name : {".run/vid.0000000007.ts", "film.ts"}) {
        std::ofstream(folder / name) << streamOf(1).bytes;
    }
    for (const std::uint64_t seconds : {4U, 3U}) {
        const Outcome outcome = start("\"./-link/two '%s*' words\"", streamOf(seconds)).end();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.errors.find("segmenter-live:"), std::string::npos) << outcome.errors;
    }
    EXPECT_EQ(listed(folder), "0/0 1 s: 1.000 | 1.000 1.000 1.000 1.000 | 1.000 1.000 1.000");
    EXPECT_EQ(fs::status(folder / ".run").permissions(), fs::perms::owner_all);
    EXPECT_FALSE(fs::exists(folder / ".run/folder"));
    EXPECT_EQ(readFile(folder / "film.ts"), streamOf(1).bytes);
}

TEST_F(LiveProgram, EndsCleanlyOnSignals) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Program program = runOfThree("--end=1");
        ::kill(-program.process(), signal); // as a terminal and systemd do
        EXPECT_TRUE(eventually([&] { return program.output().ends_with("ended live.m3u8\n"); }));
        EXPECT_EQ(program.end().status, 0);
        EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 1.000 end");
    }
}

TEST_F(LiveProgram, LeavesToTheNextRunWhatCannotBePublished) {
    fs::create_directories("www/live.m3u8.tmp/full");            // in the way of the playlist
    const Program program = start("www --end=1", streamOf(100)); // more than may wait
    ASSERT_TRUE(eventually([] { return fs::exists("www/.run/vid.0000000055.ts"); }));
    std::this_thread::sleep_for(100ms);
    EXPECT_FALSE(fs::exists("www/.run/vid.0000000098.ts")) << "the stream waits, too";
    ::kill(program.process(), SIGTERM);
    EXPECT_EQ(program.end().status, 1);
    expectEnd(start("www"), 1, "What the last run left cannot be published, so no run begins.\n");
    fs::remove_all("www/live.m3u8.tmp");
    EXPECT_EQ(start("www").end().status, 0);
    EXPECT_EQ(listed(), "0/0 1 s:" + times(100, " 1.000"));
}

TEST_F(LiveProgram, PublishesTheRestWhenTheSegmenterEndsOrNoPacketComes) {
    const Program program = runOfThree();
    ::kill(std::stoi(readFile("../segmenter")), SIGKILL);
    expectFailure(program, "The segmenter has ended before the stream.\n");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 1.000");
    expectFailure(start("www --timeout=1 --end=1", streamOf(3)),
                  "No packet of the stream came for 1 s.\n");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 1.000 | 1.000 1.000 1.000");
    std::ofstream("../bin/segmenter") << "#!/bin/sh\n"; // one that ends by itself
    expectFailure(start("www"), "The segmenter has ended before the stream.\n");
}

TEST_F(LiveProgram, WaitsForTheRunBeforeAndWhatIsLeftOfItOrASignal) {
    const Program before = runOfThree();
    const int stopped = std::stoi(readFile("../segmenter"));
    ::kill(stopped, SIGSTOP);
    ::kill(before.process(), SIGKILL);
    const Program given_up = start("www"); // waits once the folder is open
    const std::string is_open =
        "ls -l /proc/" + std::to_string(given_up.process()) + "/fd | grep -q /www$";
    EXPECT_TRUE(eventually([&] { return std::system(is_open.c_str()) == 0; }));
    ::kill(given_up.process(), SIGTERM);
    expectEnd(given_up, 1, "in use by another segmenter-live, or by its segmenter.\n");
    const Program next = start("www", streamOf(3));
    std::this_thread::sleep_for(200ms);
    ::kill(stopped, SIGCONT);
    EXPECT_EQ(next.end().status, 0);
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 1.000 | 1.000 1.000 1.000");
    EXPECT_EQ(before.end().status, 128 + SIGKILL);
}

TEST_F(LiveProgram, WaitsForNoReader) {
    ASSERT_EQ(::mkfifo("unread", 0600), 0);
    const int unread = ::open("unread", O_RDWR | O_NONBLOCK);
    while (::write(unread, "a full pipe", 11) > 0) {
    }
    EXPECT_EQ(start("new/www >unread 2>unread", streamOf(4)).end().status, 0);
    EXPECT_EQ(listed("new/www"), "0/0 1 s: 1.000 1.000 1.000 1.000");
    ::close(unread);
    EXPECT_EQ(start("www <&- >&- 2>&-").end().status, 0);
}

TEST_F(LiveProgram, RefusesFoldersThatItCannotUse) {
    std::ignore = std::system("mkdir -p linked/elsewhere unreadable/live.m3u8 torn;"
                              "ln -s elsewhere linked/.run;"
                              "echo half a playl | tee file >torn/live.m3u8");
    for (const auto& [folder, warning] :
         {std::pair("file", "file cannot be used: "),
          {"linked", "linked/.run cannot be used: Too many levels of symbolic links.\n"},
          {"unreadable", "unreadable/live.m3u8 cannot be used: Invalid argument.\n"},
          {"torn", "torn/live.m3u8 is not a playlist of this program: a new stream takes its "
                   "place.\n"}}) {
        expectEnd(start(folder, streamOf(2)), folder == "torn"s ? 0 : 1, warning);
    }
    EXPECT_TRUE(fs::is_empty("linked/elsewhere"));
    EXPECT_EQ(listed("torn"), "0/0 1 s: 1.000 1.000");
}

} // namespace
