#include "live/publisher.h"
#include "live/run.h"
#include "playlist/segment_name.h"
#include "tests/support.h"
#include "tsinspect/pts.h"

#include <cerrno>
#include <regex>

namespace {

/// What syncfs does in these tests. It returns an error number.
std::function<int()> sync_medium; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

/// Tests of a public folder, www/, with the private one in it.
struct Live : ProgramTest {
    Live() {
        sync_medium = [] { return 0; };
        restart();
    }

    /// Puts another publisher in the place of the one before.
    void restart() {
        fs::create_directories("www/.run");
        publisher.emplace(
            settings, livePlaylist(), [this] { return Moment(now); },
            [this](const std::string& line) { output += line + "; "; }, warn);
    }

    FinishedSegment cut(double seconds = 1, bool follows = true) {
        const std::string path = segmentName("www/.run/", count++);
        std::ofstream(path) << other();
        written += static_cast<std::int64_t>(1000 * seconds);
        return {path, static_cast<std::int64_t>(seconds * ticks_per_second), follows, written};
    }

    /// What was said since the last call: "published 0 1.000; ", with numbers for addresses, and
    /// warnings behind a "! ".
    std::string said() {
        const std::regex address("[0-9a-f]{8}\\.0{0,9}([0-9]+)\\.ts");
        return std::regex_replace(std::exchange(output, ""), address, "$1");
    }

    std::string publish(FinishedSegment& segment) {
        publisher->publish(segment, false);
        return said();
    }
    std::string publish(double seconds = 1, bool follows = true) {
        FinishedSegment segment = cut(seconds, follows);
        return publish(segment);
    }

    /// What is said when a new process publishes what a run left: these files, by number, and what
    /// is there.
    std::string publishLeft(const std::map<unsigned, std::string>& files = {}) {
        for (const auto& [number, bytes] : files) {
            std::ofstream(segmentName("www/.run/", number)) << bytes;
        }
        restart();
        publishLeftovers(settings, *publisher, warn);
        return said();
    }

    static std::string publicPath(std::uint32_t number) {
        return "www/" + fileName({livePlaylist().value().stream, number});
    }

    LiveSettings settings = {.folder = "www/", .duration = 1, .listed = 3};
    std::chrono::milliseconds now{};
    std::int64_t written = 0;
    unsigned count = 0;
    std::string output;
    Publisher::Tell warn = [this](const std::string& line) { output += "! " + line + ' '; };
    std::optional<Publisher> publisher;
};

/// A segment of so many frames, four a second, as the segmenter writes it.
std::string whole(std::uint64_t pts, int count = 4) {
    return pat() + pmtOf({0x1B}) + frames(pts, count);
}

} // namespace

extern "C" int syncfs(int /*descriptor*/) noexcept {
    errno = sync_medium();
    return errno == 0 ? 0 : -1;
}

TEST_F(Live, LetsSegmentsLeaveWhileThreeTargetDurationsStay) {
    for (const bool follows : {true, false, true}) {
        publish(1, follows);
    }
    for (const auto& [seconds, list] : {std::pair(0.999, "0/0 1 s: 1.000 | 1.000 1.000 0.999"),
                                        {0.5, "1/0 1 s: | 1.000 1.000 0.999 0.500"},
                                        {1.001, "2/1 1 s: 1.000 0.999 0.500 1.001"},
                                        {1.499, "4/1 1 s: 0.500 1.001 1.499"},
                                        {1.5, "4/1 2 s: 0.500 1.001 1.499 1.500"}}) {
        restart(); // with what the playlist says
        publish(seconds);
        EXPECT_EQ(listed(), list);
    }
}

TEST_F(Live, ListsSegmentsAsTheyAreReported) {
    publish(0.4004, false);
    EXPECT_EQ(listed(), "0/0 1 s: 0.400") << "the target duration is what is wanted, at least";
    publish(0.4004);
    EXPECT_EQ(publish(0.4004), "published 2 0.401; ") << "they add up";
    publish(0.5, false);
    EXPECT_EQ(listed(), "0/0 1 s: 0.400 0.400 0.401 | 0.500");
    EXPECT_EQ(livePlaylist()->segments[3].date, 1200) << "when it was written, less its length";
    EXPECT_EQ(publish(1.6), "published 4 1.600; "
                            "! 4 lasts 1.600 s: the target duration rises from 1 to 2. ");
}

TEST_F(Live, PublishesWhatARunLeftAsTheRowsSay) {
    // clang-format off
    const std::tuple<const char*, std::map<unsigned, std::string>, const char*> rows[] = {
        {"each lasts until its last frame ends, and goes on from there, though the clock wraps",
         {{0, whole(pts_modulus - 45000)}, {1, whole(45000, 2)}}, "0/0 1 s: 1.000 0.500"},
        {"a discontinuity stands where timestamps go on, or back, by more than a second",
         {{0, whole(0)}, {1, whole(180000)}, {2, whole(360001)}, {3, whole(360000)}},
         "1/0 1 s: 1.000 | 1.000 | 1.000"},
        {"a jump inside is no time, and a discontinuity stands behind it",
         {{0, whole(0)}, {1, whole(90000, 2) + frames(9000000, 3)}, {2, whole(9067500)}},
         "0/0 1 s: 1.000 1.250 | 1.000"},
        {"one is cut to whole packets, and at the zeros that a power failure left",
         {{0, whole(0) + "x"}, {1, whole(90000, 2) + std::string(940, '\0') + frames(135000, 2)}},
         "0/0 1 s: 1.000 0.500"},
        {"nothing is published of zeros alone, of packets without a frame, of more than 11 s",
         {{0, std::string(940, '\0')}, {1, other(3)}, {2, whole(0, 44)}, {3, whole(990000, 45)},
          {4, whole(2002500)}}, "0/0 11 s: 11.000 | 1.000"},
    };
    // clang-format on
    for (const auto& [name, files, published] : rows) {
        fs::remove_all("www");
        restart();
        publishLeft(files);
        EXPECT_EQ(listed(), published) << name;
        EXPECT_TRUE(fs::is_empty("www/.run")) << name;
        EXPECT_EQ(readFile(publicPath(0)).size() % packet_size, 0) << name;
    }
}

TEST_F(Live, GoesOnWithItsStreamWhereverItWasKilled) {
    for (const bool follows : {true, false}) {
        FinishedSegment next = cut(1.25, follows);
        std::ofstream(next.path) << whole(0);
        sync_medium = [] { return EIO; };
        publish(next);
        const std::string list = readFile("www/live.m3u8.tmp");
        sync_medium = [] { return 0; };
        publishLeft();
        EXPECT_EQ(readFile("www/live.m3u8"), list) << "viewers may have seen it";
    }
    EXPECT_EQ(publishLeft({{2, whole(90000)}, {3, whole(180000)}, {5, whole(270000)}}),
              "published 2 1.000; published 3 1.000; published 4 1.000; ");
    publishLeft({{0, whole(360000)}}); // of a new run
    EXPECT_EQ(listed(), "3/1 1 s: 1.000 | 1.000 | 1.000");
}

TEST_F(Live, ShowsViewersNothingThatThePowerCanTakeAway) {
    sync_medium = [] {
        for (const std::string folder : {"www", "medium"}) { // what is on it for sure
            const auto seen = livePlaylist(folder).value_or(LivePlaylist());
            for (std::uint32_t number = seen.sequence; number < nextNumber(seen); ++number) {
                const std::string name = fileName({seen.stream, number});
                EXPECT_EQ(readFile("medium/" + name), other()) << "listed, or then listed";
                EXPECT_EQ(readFile("www/" + name), other());
            }
        }
        fs::remove_all("medium");
        fs::copy("www", "medium");
        return 0;
    };
    for (const char* actions : {"published 0 1.000; ", "published 1 1.000; ", "published 2 1.000; ",
                                "published 3 1.000; ", "published 4 1.000; deleted 0; "}) {
        EXPECT_EQ(publish(), actions);
        EXPECT_EQ(livePlaylist("medium"), livePlaylist());
        now += 8s;
    }
    sync_medium = [syncs = 0]() mutable { return ++syncs == 1 ? 0 : EIO; };
    EXPECT_EQ(publish(), "published 5 1.000; ") << "deletes when the new version stays for sure";
}

TEST_F(Live, KeepsWhatLeftAsLongAsTheLongestListAndASegmentMore) {
    // Four segments of 10 s, and one more that may last 10.5 s, since that is rounded to 10.
    for (int i = 0; i < 4; ++i) {
        publish(10);
    }
    now = 50499ms;
    EXPECT_EQ(publish(10), "published 4 10.000; ");
    now = 50500ms;
    EXPECT_EQ(publish(10), "published 5 10.000; deleted 0; ") << "40 s, and up to 10.5 s";
    EXPECT_GT(fs::last_write_time(publicPath(2)), fs::last_write_time(publicPath(5))) << "it left";
    // Another process takes 10.5 s for each of four, and one more.
    const auto last_version = fs::last_write_time("www/live.m3u8");
    fs::last_write_time(publicPath(1), last_version + 1h); // by a wrong clock
    fs::last_write_time(publicPath(2), last_version - 52500ms);
    restart();
    EXPECT_EQ(said(), "deleted 2; ");
    now += 52499ms;
    EXPECT_EQ(publish(10), "published 6 10.000; ");
    now += 1ms;
    EXPECT_EQ(publish(10), "published 7 10.000; deleted 1; ");
}

TEST_F(Live, EndsAStreamAndBeginsAnother) {
    EXPECT_TRUE(publisher->endStream());
    EXPECT_EQ(publish(), "published 0 1.000; ") << "there was none to end";
    EXPECT_TRUE(publisher->endStream());
    EXPECT_EQ(publishLeft(), "ended live.m3u8; ");
    now += 1h;
    EXPECT_EQ(publish(), "published 0 1.000; ") << "the old list was there until now";
    now += 1h;
    EXPECT_EQ(publish(), "published 1 1.000; deleted 0; ");
}

TEST_F(Live, TriesAgainWhatFails) {
    publish();
    for (const auto& [obstacle, warning] :
         {std::pair("www/live.m3u8.tmp"s,
                    "www/live.m3u8 cannot be written; trying again until it can"),
          {publicPath(2), "www/.run/vid.0000000002.ts cannot be moved to www/2: Is a directory"}}) {
        fs::create_directories(obstacle + "/full");
        FinishedSegment next = cut();
        EXPECT_EQ(publish(next), "! "s + warning + ". ");
        EXPECT_EQ(publish(next), "") << "once";
        fs::remove_all(obstacle);
        publish(next);
    }
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 1.000");
}

TEST_F(Live, DropsEmptyFilesAndFollowsNoLinks) {
    publish();
    FinishedSegment link = cut();
    fs::rename(link.path, "film");
    fs::create_symlink(fs::absolute("film"), link.path);
    fs::create_symlink(fs::absolute("film"), "www/live.m3u8.tmp");
    EXPECT_EQ(publishLeft({{9, "no packet"}}),
              "! www/.run/vid.0000000009.ts, left by a crash, is dropped: it has no "
              "frame, or is too long. ");
    EXPECT_TRUE(publisher->publish(link, false)) << "and there is nothing to try again";
    EXPECT_EQ(said(), "! Segments are lost: the disk was full, or they waited for too long. ");
    FinishedSegment empty = cut();
    fs::resize_file(empty.path, 0);
    EXPECT_EQ(publish(empty), "") << "told once";
    EXPECT_TRUE(publisher->hasLosses());
    publish();
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 | 1.000");
    EXPECT_EQ(readFile("film"), other());
}

TEST_F(Live, MakesRoomOnAFullMedium) {
    for (int i = 0; i < 6; ++i) {
        publish();
    }
    FinishedSegment large = cut();
    EXPECT_EQ(std::system(("truncate -s 8648000000000 " + large.path).c_str()), 0);
    EXPECT_TRUE(publish(large).starts_with(
        "! www/ is full: files that left the list go early. deleted 0; deleted 1; deleted 2; "
        "! www/ is too small: two more segments of 8648000000 KB do not fit. published 6 1.000; "));
    FinishedSegment next = cut();
    sync_medium = [] { return EIO; };
    EXPECT_FALSE(publisher->publish(next, true)) << "not for lack of room";
    EXPECT_EQ(said(), "! www/live.m3u8 cannot be written; trying again until it can. ");
    sync_medium = [] { return ENOSPC; };
    EXPECT_FALSE(publisher->publish(next, false));
    EXPECT_EQ(said(), "deleted 3; ");
    EXPECT_TRUE(publisher->publish(next, true));
    EXPECT_EQ(said(), "! Segments are lost: the disk was full, or they waited for too long. ");
    EXPECT_EQ(listed(), "4/0 1 s: 1.000 1.000 1.000");
    EXPECT_FALSE(fs::exists(publicPath(7)));
    restart();
    EXPECT_TRUE(
        said().ends_with("www/ is too small: two more segments of 8648000000 KB do not fit. "));
}
