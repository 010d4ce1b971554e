#include "publish/live_playlist.h"
#include "tests/program.h"

namespace {

namespace fs = std::filesystem;

/// `seconds` seconds of a stream, a segment each with --duration=0.
Stream streamOf(int seconds) {
    std::string packets;
    for (int second = 1; second <= seconds; ++second) {
        packets += table() + video(static_cast<std::uint64_t>(second) * 90000);
    }
    return {packets};
}

/// The segments that the playlist in `folder` lists: "xx xxx" for two of a run, three of the next.
std::string listed(const fs::path& folder) {
    std::string segments;
    const auto playlist = readPlaylist(readFile(folder / "live.m3u8")).value_or(LivePlaylist());
    for (const LiveSegment& segment : playlist.segments) {
        segments += segment.is_discontinuity ? " x" : "x";
    }
    return segments;
}

/// Tests of segmenter-run, beside the programs that it starts.
struct RunScript : ProgramTest {
    RunScript() {
        fs::create_directory("../bin");
        fs::copy_file(ROOT "packaging/segmenter-run", "../bin/segmenter-run");
        writeScript("segmenter", "exec " SEGMENTER);
        writeScript("segmenter-publish", "echo $$ >../publisher; exec " SEGMENTER_PUBLISH);
    }

    static void writeScript(const std::string& name, const std::string& command) {
        const std::string path = "../bin/" + name;
        std::ofstream(path) << "#!/bin/sh\n" << command << " \"$@\"\n";
        fs::permissions(path, fs::perms::owner_all);
    }

    /// Starts segmenter-run with `arguments`, quoted for a shell.
    static Program start(const std::string& arguments) {
        return Program("../bin/segmenter-run " + arguments);
    }

    /// Cuts `seconds` seconds into the folder `name`, and waits until they are public.
    static void cut(const std::string& name, int seconds, const std::string& redirections = "") {
        const Program program = start('"' + name + "\" --duration=0 --listed=100" + redirections);
        program.write(streamOf(seconds));
        EXPECT_EQ(program.end().status, 0);
        EXPECT_EQ(std::system(("exec 9<\"" + name + "\"; flock -w 10 9").c_str()), 0);
    }
};

TEST_F(RunScript, GoesOnWithTheStreamInFoldersOfAnyName) {
    fs::create_directory("linked");
    fs::create_directory_symlink("linked", "link");
    for (const std::string name : {"-new/two '%s*' words/", "link"}) {
        SCOPED_TRACE(name);
        cut(name, 4);
        cut(name, 3, " >&- 2>&-"); // which leaves no process either
        EXPECT_EQ(listed(name), "xxxx xxx");
    }
}

TEST_F(RunScript, PublishesFirstWhatACrashLeftAndTouchesNothingElse) {
    fs::create_directories("www/.run/folder");
    fs::create_directory("www/2024");
    const Stream left = {table(), video(90000), video(180000)};
    for (const char* name : {"www/.run/vid.0000000007.ts", "www/2024/film.ts", "www/film.ts"}) {
        std::ofstream(name) << left.bytes;
    }
    std::ofstream("www/.run/live.m3u8.tmp") << "half a playlist";
    cut("www", 3);
    EXPECT_EQ(listed("www"), "x xxx");
    EXPECT_EQ(readFile("www/2024/film.ts"), left.bytes);
    EXPECT_EQ(readFile("www/film.ts"), left.bytes);
    EXPECT_FALSE(fs::exists("www/.run/live.m3u8.tmp") || fs::exists("www/.run/folder"));
}

TEST_F(RunScript, WaitsForTheRunBefore) {
    const Program before = start("www --duration=0");
    before.write(streamOf(3));
    ASSERT_TRUE(eventually([] { return listed("www") == "xx"; }));
    const Program next = start("www --duration=0");
    next.write(streamOf(3));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(listed("www"), "xx");
    EXPECT_EQ(before.end().status, 0);
    EXPECT_EQ(next.end().status, 0);
    EXPECT_TRUE(eventually([] { return listed("www") == "xx xxx"; }));
}

TEST_F(RunScript, EndsWhenNobodyPublishes) {
    const Program program = start("www --duration=0");
    program.write(streamOf(3));
    ASSERT_TRUE(eventually([] { return listed("www") == "xx"; }));
    ::kill(std::stoi(readFile("../publisher")), SIGKILL);
    EXPECT_TRUE(eventually([] { return readFile(marker_path).ends_with("vid.0000000002.ts\n"); }));
    EXPECT_EQ(program.end().status, 0);
}

TEST_F(RunScript, RefusesOptionsThatMakeNoSense) {
    for (const std::string option : {"--prefix=x/", "--from=x", "--window=99", "--window=many",
                                     "--end=2", "--duration", "--name=x"}) {
        const Outcome outcome = start("www " + option).end();
        EXPECT_EQ(outcome.status, 2) << option;
        EXPECT_TRUE(outcome.errors.starts_with("segmenter-run: --")) << outcome.errors;
        EXPECT_FALSE(fs::exists("www")) << option;
    }
    EXPECT_EQ(start("").end().errors, "usage: segmenter-run FOLDER [OPTION...]\n");
    EXPECT_EQ(start("--duration=4").end().status, 2);
    EXPECT_EQ(start("www --listed=2").end().status, 1); // which segmenter-publish refuses
}

TEST_F(RunScript, GivesEachProgramItsOptions) {
    const Program program =
        start("www --duration=3 --window=200 --playlist_name=a.m3u8 --mux_type=0 --end=1");
    program.write(streamOf(5));
    EXPECT_EQ(program.end().status, 0);
    EXPECT_TRUE(eventually([&] { return program.output().ends_with(" 4.000\nended a.m3u8\n"); }));
    EXPECT_TRUE(readFile("www/a.m3u8").ends_with("#EXT-X-ENDLIST\n"));
}

} // namespace
