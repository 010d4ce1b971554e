#include "segmenter/segment_file.h"
#include "tests/support.h"

#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <tuple>

namespace {

/// The shell's part of a run, in a mount namespace where /run is an in-memory file system of its
/// own, so that the machine's marker file is never touched. The last lines write the report.
constexpr auto shell_script = R"(
input=$PWD/input; report=$PWD/report
mount -t tmpfs tmpfs /run && mkdir /run/work && cd /run/work || exit
@setup
@feed | @program @arguments >/run/out
{ echo $?; cat ${prefix}vid.*.ts >/run/all
head -c $(($(stat -c %s $input) / 188 * 188)) $input | cmp -s - /run/all && echo =
for f in ${prefix}vid.*.ts; do echo $f:$(($(stat -c %s $f) / 188)); done | grep -v '*'; echo /
grep -v 'M3U\|DURATION\|INF' ${playlist:-live.m3u8}; echo /; cat /run/vod /run/out | head -c 52
} | sed -E 's/(.www.hls_vod.)?(vid.|#EXT-X-MEDIA-SEQUENCE:)0{0,9}([0-9]+)(.ts)?/\3/; s/#EXT-X-ENDLIST/end/' | tr '\n' ' ' >$report
)";

/// Runs the program with shell words as `arguments` on `input` in an empty directory, after `setup`
/// was run there; `feed` is what writes the input, which it finds in the file $input.
///
/// Returns the exit status; "=" if the segments are the input's whole packets; number:packets of
/// each segment file; "/"; the playlist's first number, the numbers it lists and "end" for an end
/// tag; "/"; the number in the marker; what the program printed, as far as 52 characters go.
/// `setup` sets $prefix and $playlist where `arguments` do.
std::string run(const std::string& arguments, const std::string& input, const char* setup = "",
                const char* feed = "cat $input") {
    const std::string directory = testing::UnitTest::GetInstance()->current_test_info()->name();
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(directory);
    std::string script = shell_script;
    for (const auto& [word, text] : {std::pair("@setup", setup),
                                     {"@feed", feed},
                                     {"@program", SEGMENTER},
                                     {"@arguments", arguments.c_str()}}) {
        script.replace(script.find(word), std::strlen(word), text);
    }
    std::ofstream(directory + "/script") << script;
    std::ofstream(directory + "/input", std::ios::binary) << input;
    std::ignore = std::system(("cd " + directory + "; unshare -rm sh script 2>/dev/null").c_str());
    return readFile(directory + "/report");
}

struct Run : testing::Test {
    void SetUp() override {
        if (std::filesystem::canonical("/var/run") != "/run" ||
            std::system("unshare -rm mount -t tmpfs tmpfs /run 2>/dev/null") != 0) {
            GTEST_SKIP() << "skipped: a test may not have a /run of its own here";
        }
    }
};

} // namespace

TEST_F(Run, LeavesWholeSegmentsAndAPlaylistOfThem) {
    const std::tuple<const char*, std::string, const char*, const char*> cases[] = {
        // Where a segment begins.
        {"", "", "a1 T v1 T a1 T", "0 = 0:3 1:3 / 0 0 1 end / 1 "},
        {"", "", "v126000 T v576000 T v576001 a1 T", "0 = 0:1 1:5 2:1 / 0 0 1 2 end / 2 "},
        {"", "", "v900000 T v100 T v450100 T v450101 T", "0 = 0:1 1:6 2:1 / 0 0 1 2 end / 2 "},
        {"", "", "v900000 T v9 v80 v8 v450008 T v450009 T", "0 = 0:1 1:7 2:1 / 0 0 1 2 end / 2 "},
        {"", "", "v8589934591 T v0 T v450000 T v450001 T", "0 = 0:1 1:6 2:1 / 0 0 1 2 end / 2 "},
        {"", "", "x900000 T v1 T", "0 = 0:3 1:1 / 0 0 1 end / 1 "},
        {"", "--duration=0", "v1 T T v2 T", "0 = 0:1 1:3 2:1 / 0 0 1 2 end / 2 "},
        {"", "--duration=-1", "v200000 T T a1", "0 = 0:1 1:1 2:2 / 0 0 1 2 end / 2 "},
        {"", "--duration=2147483647", "v1 T v8589934591 T", "0 = 0:1 1:3 / 0 0 1 end / 1 "},
        {"", "--duration=-2147483648", "v1 T v8589934591 T", "0 = 0:1 1:3 / 0 0 1 end / 1 "},
        // What else may come: too little input, an unreadable one, things in the way, a full disk.
        {"echo 9 >/run/vod", "", "", "0 = / 0 end / "},
        {"echo 9 >/run/vod", "--help", "T",
         "1 / /         --help           this help text         --pr"},
        {"", "--prefix=no/", "T", "0 / / 0 File open error!  "},
        {"mkdir vid.0000000000.ts", "", "T", "0 0:0 / 0 0 end / 0 File open error!  "},
        {"mkdir vid.0000000001.ts", "--duration=0", "v1 T",
         "0 0:1 1:0 / 0 0 1 end / 1 File open error!  "},
        {"mkdir -p live.m3u8/x", "--duration=0", "v1 T a1", "0 = 0:1 1:2 / / 1 "},
        {"echo 9 >live.m3u8; mkdir live.m3u8.tmp", "--duration=0", "v1 T", "0 = 0:1 1:1 / 9 / 1 "},
        {"echo 9 >live.m3u8; ln -s /dev/full live.m3u8.tmp", "", "T", "0 = 0:1 / 9 / 0 "},
        {"", "'--url_prefix=$(rm *)`rm *`'", "T", "0 = 0:1 / 0 $(rm *)`rm *`/0 end / 0 "},
        {"prefix=x. playlist=x.y", "--prefix=x. --playlist_name=y --size=3 word", "T",
         "0 = x.0:1 / 0 0 end / 0 "},
        {"", "<.", "T", "0 / 0 end / "},
        {"", "--duration=0 --window=2", "a1 v1 T v2 T v3 T v4 T", "0 3:2 4:1 / 3 3 4 end / 4 "},
        {"", "--duration=0 --window=1", "v1 T v2 T v3", "0 2:2 / 2 2 end / 2 "},
        {"", "--duration=0 --window=-1", "v1 T v2 T v3", "0 = 0:1 1:2 2:2 / 0 0 1 2 end / 2 "},
        // Segment 1 does not fit on the disk; once the window has passed it, all is whole again.
        {"mount -t tmpfs -o size=64k tmpfs $PWD; cd $PWD", "--duration=0 --window=2",
         "v1 T a600 v2 T v3 T v4 T a1 v5 T a1", "0 4:3 5:2 / 4 4 5 end / 5 "},
    };
    for (const auto& [setup, arguments, script, report] : cases) {
        for (const int mux_type : {0, 1}) {
            const std::string partial_packet(187, 'p');
            EXPECT_EQ(run("--mux_type=" + std::to_string(mux_type) + ' ' + arguments,
                          stream(mux_type, script) + partial_packet, setup),
                      report)
                << setup << arguments << script;
        }
    }
    EXPECT_TRUE(run("", stream(0, "T")).starts_with("1 / /         --help "));
    EXPECT_EQ(run("--mux_type=2", stream(0, "v1 T v900000 T")), "0 = 0:4 / 0 0 end / 0 ");
}

TEST_F(Run, PublishesASegmentAsSoonAsItIsCut) {
    // One byte at a time up to the second cut, and the rest only once the playlist is as expected.
    const char* feed = R"sh({ head -c 940 $input | dd bs=1; for i in $(seq 300); do sleep 0.1
[ "$(tail -n +3 live.m3u8 | tr '\n' ' ')" = "#EXT-X-MEDIA-SEQUENCE:0000000001 #EXTINF:0, vid.0000000001.ts " ] &&
tail -c +941 $input && break; done; })sh";
    EXPECT_EQ(run("--duration=0 --window=2", stream(0, "v1 T v2 a1 T a1"), "", feed),
              "0 1:3 2:2 / 1 1 2 end / 2 ");
}

TEST(SegmentFile, KeepsWholePacketsWhenTheDiskIsFull) {
    // What a file may grow to stands for the space on the disk.
    std::ignore = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {1000, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
    const std::string packets = stream(0, "a8");
    SegmentFile file;
    EXPECT_TRUE(file.open("segment_file_test.ts"));
    file.append(packets);
    const rlimit no_limit = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &no_limit);
    file.append(packet(0, false));
    file.close();
    EXPECT_EQ(readFile("segment_file_test.ts"), stream(0, "a5"));
}

TEST_F(Run, CutsRealStreams) {
    EXPECT_EQ(run("--duration=3", readFile(ROOT "demo/streams/ffmpeg.ts")),
              "0 = 0:89 1:376 2:382 3:280 / 0 0 1 2 3 end / 3 ");
    EXPECT_EQ(run("--duration=3 --mux_type=1", readFile(ROOT "demo/streams/gst.ts")),
              "0 = 0:15 1:277 2:275 3:277 4:228 / 0 0 1 2 3 4 end / 4 ");
}
