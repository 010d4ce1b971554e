#include "tests/support.h"

#include <array>
#include <regex>

namespace {

/// Makes a stream in the folder "hls", whose playlist lists the segments `first` to `last`.
void makeStream(int first, int last) {
    std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:4\n";
    for (int number = first; number <= last; ++number) {
        const std::string name = "00000000.000000000" + std::to_string(number) + ".ts";
        std::ofstream("hls/" + name) << "segment " << number;
        playlist += "#EXTINF:4.000,\n" + name + '\n';
    }
    std::ofstream("hls/new") << playlist;
    fs::rename("hls/new", "hls/live.m3u8");
}

/// Tests of segmenter-push, with tests/curl in place of curl.
struct PushScript : ProgramTest {
    PushScript() {
        std::ignore =
            std::system("mkdir hls ../bin ../server ../answers; cp '" ROOT "tests/curl' ../bin;"
                        "ln -s /bin/true ../bin/sleep"); // after the end, it does not wait
        makeStream(0, 2);
    }

    /// Starts it with `arguments`, quoted for a shell. After its input it tries for `seconds`.
    static Program start(int seconds = 60, const std::string& arguments = "hls/ http://x/y/") {
        const std::string script = readFile(ROOT "packaging/segmenter-push");
        std::ofstream("../push") << std::regex_replace(script, std::regex("(_the_rest)=60"),
                                                       "$1=" + std::to_string(seconds));
        return Program("env PATH=../bin:\"$PATH\" bash ../push " + arguments);
    }

    static std::string transfers() { return readFile("../transfers"); }
};

TEST_F(PushScript, UploadsEachSegmentOnceAndThenThePlaylistAndGoesOnFromThat) {
    const Program program = start();
    ASSERT_TRUE(eventually([] { return transfers().ends_with("PUT list, "); }));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::kill(program.process(), signal);
    }
    makeStream(2, 4);
    program.write({"published\n"});
    ASSERT_TRUE(eventually([] { return transfers().ends_with("PUT 4, PUT list, "); }));
    const Outcome outcome = program.end();
    EXPECT_EQ(transfers(), "GET list 404, PUT 0, PUT 1, PUT 2, PUT list, "
                           "PUT 3, PUT 4, PUT list, GET list, HEAD 2, ");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(readFile("../server/live.m3u8"), readFile("hls/live.m3u8"));
    EXPECT_EQ(readFile("../server/00000000.0000000001.ts"), "segment 1");
    makeStream(3, 5);
    EXPECT_EQ(start().end().status, 0);
    EXPECT_TRUE(transfers().ends_with(" GET list, HEAD 3, PUT 5, PUT list, GET list, HEAD 3, "));
}

TEST_F(PushScript, TriesAgainWhereItFailed) {
    const std::string begins = "GET list 404, PUT 0, PUT 1, PUT 2, ";
    const std::string goes_on = "GET list 404, HEAD 0, ";
    const std::array<std::string, 4> rows[] = {
        {"GET list", "503", "the server answers 503", begins},
        {"GET list", "401", "the server answers 401", begins},
        {"PUT 1", "403", "the server answers 403", goes_on + "PUT 1, PUT 2, "},
        {"PUT 2", "302", "the server answers 302", goes_on + "PUT 2, "},
        {"PUT list", "000\n000", "curl: .7. Failed to connect after", goes_on},
        {"PUT list", "lost", "the server took live.m3u8, and shows another", goes_on},
        {"PUT 0", "lost", "the server took a segment, and answers 404",
         "HEAD 0 404, GET list, PUT 0, PUT 1, PUT 2, "},
    };
    for (const auto& [transfer, answers, reason, then] : rows) {
        SCOPED_TRACE(reason);
        fs::remove_all("../server");
        fs::create_directory("../server");
        std::ofstream("../answers/" + transfer) << answers << '\n';
        const Outcome outcome = start().end();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(transfers().ends_with(then + "PUT list, GET list, HEAD 0, ")) << transfers();
        const std::regex said("segmenter-push: cannot upload to http://x/y, and goes on trying: " +
                              reason + ".*\nsegmenter-push: uploads go on\n");
        EXPECT_TRUE(std::regex_match(outcome.errors, said)) << outcome.errors;
    }
}

TEST_F(PushScript, SaysWhatIsMissing) {
    fs::remove("hls/00000000.0000000001.ts");
    expectEnd(start(3), 1,
              "could not upload 00000000.0000000001.ts, 00000000.0000000002.ts, live.m3u8 to "
              "http://x/y: segments have gone before they could be uploaded\n");
    std::ofstream("vod.m3u8") << "#EXTM3U\n#EXTINF:4,\n1.ts\n";
    for (const std::string name : {"none.m3u8", "vod.m3u8"}) {
        expectEnd(start(60, name + " http://x/y"), 1, ": ./" + name + " is missing, or not");
    }
    expectEnd(Program("env PATH= /bin/bash ../push hls http://x/y"), 1, "curl is not installed\n");
}

TEST_F(PushScript, WaitsForACurlThatOutlivedTheScriptBefore) {
    std::ofstream("../answers/PUT list") << "stuck\n403\n";
    const Program program = start();
    ASSERT_TRUE(eventually([] { return transfers().ends_with("PUT 2, "); }));
    ::kill(program.process(), SIGKILL);
    EXPECT_EQ(program.end().status, 128 + SIGKILL);
    expectEnd(start(0), 1, ": another process uploads there\n");
    std::ofstream("../go") << "";
    std::ignore = start(60, "hls http://x/y 2>&1 | true").end(); // nobody reads its messages
    EXPECT_TRUE(transfers().ends_with("PUT list, GET list, HEAD 0, ")) << transfers();
}

} // namespace
