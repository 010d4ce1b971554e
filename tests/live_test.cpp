#include "live/publisher.h"
#include "live/run.h"
#include "playlist/segment_name.h"
#include "process/files.h"
#include "tests/program.h"
#include "tsinspect/pts.h"

#include <sys/stat.h>

#include <cerrno>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t noon = 1764072000000; // of 2025-11-25

/// What syncfs does in these tests. It returns an error number.
std::function<int()> sync_medium; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

/// Tests of a public folder, www/, with the private one in it.
struct Live : ProgramTest {
    Live() { beginStream(); }

    /// Begins with empty folders.
    void beginStream() {
        sync_medium = [] { return 0; };
        fs::remove_all("www");
        fs::create_directories("www/.run");
        restart();
    }

    static std::optional<LivePlaylist> playlist() {
        return readPlaylist(readFile("www/live.m3u8"));
    }

    /// Puts another publisher in the place of the one before.
    void restart() {
        publisher.emplace(
            settings, playlist(), [this] { return Moment(now); },
            [this](const std::string& line) { output += line + "; "; }, warn);
    }

    /// Cuts a segment of so many seconds, a second after the last.
    FinishedSegment cut(double seconds = 1, bool follows = true) {
        now += 1s;
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

    /// What is said of these segments when they are published.
    std::string publish(FinishedSegment& segment) {
        publisher->publish(segment);
        return said();
    }
    std::string publish(double seconds = 1, bool follows = true) {
        FinishedSegment segment = cut(seconds, follows);
        return publish(segment);
    }

    /// Leaves `bytes` as file `number` of a run: no file where there are none.
    static void leave(unsigned number, const std::string& bytes) {
        if (!bytes.empty()) {
            std::ofstream(segmentName("www/.run/", number)) << bytes;
        }
    }

    /// What is said when a new process publishes what a run left.
    std::string publishLeft() {
        restart();
        publishLeftovers(settings, *publisher, warn);
        return said();
    }

    /// The public playlist in short: "3/1 4 s: 1.000 2.000 | 1.000 end" has the media sequence 3,
    /// the discontinuity sequence 1 and the target duration 4, and a discontinuity before its last
    /// segment. Its files have whole packets; without a discontinuity, a date is that of the
    /// segment before, and its length.
    static std::string listed() {
        const auto stream = playlist();
        if (!stream) {
            return "none";
        }
        std::ostringstream out;
        out << stream->sequence << '/' << stream->discontinuities << ' ' << stream->target_duration
            << " s:";
        std::int64_t date = stream->segments[0].date;
        std::uint32_t number = stream->sequence;
        for (const auto& [is_discontinuity, begin, length] : stream->segments) {
            EXPECT_EQ(fs::file_size(publicPath(number++)) % packet_size, 0);
            EXPECT_TRUE(is_discontinuity || begin == date);
            date = begin + length;
            out << (is_discontinuity ? " | " : " ") << secondsText(length);
        }
        return out.str() + (stream->is_ended ? " end" : "");
    }

    /// The public path of segment `number`.
    static std::string publicPath(std::uint32_t number) {
        return "www/" + fileName({playlist().value_or(LivePlaylist()).stream, number});
    }

    /// How many segments are in the public folder.
    static long filesLeft() {
        return std::count_if(fs::directory_iterator("www"), {},
                             [](const auto& file) { return file.path().extension() == ".ts"; });
    }

    LiveSettings settings = {.folder = "www/", .duration = 1, .listed = 3};
    std::chrono::milliseconds now{};
    std::int64_t written = noon;
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
    settings.duration = 2;
    for (const bool follows : {true, false, true, true}) {
        publish(1.5, follows);
    }
    for (const auto& [seconds, list] :
         {std::pair(1.499, "0/0 2 s: 1.500 | 1.500 1.500 1.500 1.499"),
          {1.501, "2/1 2 s: 1.500 1.500 1.499 1.501"},
          {2.499, "3/1 2 s: 1.500 1.499 1.501 2.499"},
          {2.5, "3/1 3 s: 1.500 1.499 1.501 2.499 2.500"}}) {
        publish(seconds);
        EXPECT_EQ(listed(), list);
    }
}

TEST_F(Live, ListsSegmentsAsTheyAreReported) {
    EXPECT_EQ(publish(1.0004, false), "published 0 1.000; ");
    publish(1.0004);
    EXPECT_EQ(publish(1.0004), "published 2 1.001; ") << "they add up";
    publish(0.5, false);
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 1.001 | 0.500");
    EXPECT_EQ(playlist()->segments[3].date, noon + 3000) << "when it was written, less its length";
    EXPECT_EQ(publish(1.6), "published 4 1.600; "
                            "! 4 lasts 1.600 s: the target duration rises from 1 to 2. ");
    restart();
    EXPECT_EQ(publish(), "published 5 1.000; ") << "in another process";
    publish(2);
    EXPECT_EQ(listed(), "2/0 2 s: 1.001 | 0.500 1.600 1.000 2.000");
}

TEST_F(Live, PublishesWhatARunLeftAsTheRowsSay) {
    // clang-format off
    const std::tuple<const char*, std::vector<Stream>, const char*> rows[] = {
        {"each lasts until the end of its last frame, and goes on where the one before ended",
         {{whole(0)}, {whole(90000)}, {whole(180000, 2)}}, "0/0 1 s: 1.000 1.000 0.500"},
        {"the clock wraps", {{whole(pts_modulus - 45000)}, {whole(45000)}}, "0/0 1 s: 1.000 1.000"},
        {"a discontinuity stands where timestamps do not go on", {{whole(0)}, {whole(900000)}},
         "0/0 1 s: 1.000 | 1.000"},
        {"and where one is missing", {{whole(0)}, {}, {whole(90000)}}, "0/0 1 s: 1.000 | 1.000"},
        {"a jump inside is no time, and a discontinuity stands behind it",
         {{whole(0, 2) + frames(9000000, 3)}, {whole(9067500)}}, "0/0 1 s: 1.250 | 1.000"},
        {"frames that are shown before others", {{pat(), pmtOf({0x1B}), key(90000),
         frame(157500, "\x41", 90000), delta(112500), delta(135000)}}, "0/0 1 s: 1.000"},
        {"one is cut to whole packets, and at the zeros that a power failure left",
         {{whole(0), "x"}, {whole(90000, 2), std::string(940, '\0'), frames(135000, 2)}},
         "0/0 1 s: 1.000 0.500"},
        {"nothing is published of zeros alone, of packets without a frame, of what is too long",
         {{std::string(940, '\0')}, {other(3)}, {whole(0)}, {whole(90000, 60)}, {whole(1440000)}},
         "0/0 1 s: 1.000 | 1.000"},
    };
    // clang-format on
    for (const auto& [name, files, published] : rows) {
        beginStream();
        for (unsigned number = 0; const Stream& file : files) {
            leave(number++, file.bytes);
        }
        publishLeft();
        EXPECT_EQ(listed(), published) << name;
        EXPECT_TRUE(fs::is_empty("www/.run")) << name;
    }
}

TEST_F(Live, GoesOnWithItsStreamWhereverItWasKilled) {
    // A stream begins: the playlist is written, then the segment gets its address.
    leave(0, whole(0));
    sync_medium = [] { return EIO; };
    publishLeft();
    EXPECT_TRUE(fs::is_empty("www/.run"));
    EXPECT_EQ(listed(), "none");
    sync_medium = [] { return 0; };
    EXPECT_EQ(publishLeft(), "published 0 1.000; ");
    leave(1, whole(90000)); // of the same run
    publishLeft();
    leave(0, whole(180000));
    publishLeft();
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 | 1.000") << "a new run";
    leave(1, whole(270000));
    leave(2, whole(360000));
    sync_medium = [] { return EIO; };
    publishLeft();
    EXPECT_EQ(filesLeft(), 4) << "one has its address already";
    sync_medium = [] { return 0; };
    EXPECT_EQ(publishLeft(), "published 3 1.000; published 4 1.000; ");
    EXPECT_EQ(listed(), "2/0 1 s: | 1.000 1.000 1.000");
    EXPECT_EQ(publishLeft(), "") << "nothing is left";
    // The power takes away a version that viewers saw.
    const std::string version = readFile("www/live.m3u8");
    publish(1.25, false);
    const std::string newest = readFile("www/live.m3u8");
    std::ofstream(publicPath(5)) << whole(0);
    std::ofstream("www/live.m3u8.tmp") << newest;
    std::ofstream("www/live.m3u8") << version;
    publishLeft();
    EXPECT_EQ(readFile("www/live.m3u8"), newest);
}

TEST_F(Live, ShowsViewersNothingThatThePowerCanTakeAway) {
    std::map<std::string, std::string> medium; // what is on it for sure
    int syncs = 0;
    sync_medium = [&] {
        for (const std::string& text : {readFile("www/live.m3u8"), medium["live.m3u8"]}) {
            const auto seen = readPlaylist(text).value_or(LivePlaylist());
            for (std::uint32_t number = seen.sequence; number < nextNumber(seen); ++number) {
                const std::string name = fileName({seen.stream, number});
                EXPECT_EQ(medium[name], other()) << "listed, or then listed";
                EXPECT_EQ(readFile("www/" + name), other());
            }
        }
        medium.clear();
        for (const auto& file : fs::directory_iterator("www")) {
            medium[file.path().filename()] = file.is_regular_file() ? readFile(file.path()) : "";
        }
        ++syncs;
        return 0;
    };
    for (int i = 0; i < 12; ++i) {
        publish();
        EXPECT_EQ(medium["live.m3u8"], readFile("www/live.m3u8"));
    }
    EXPECT_EQ(syncs, 2 * 12);
    EXPECT_EQ(filesLeft(), 11) << "one was deleted";
    sync_medium = [&] { return ++syncs % 2 == 0 ? EIO : 0; };
    EXPECT_EQ(publish(), "published 12 1.000; ") << "until the next version is there for sure";
}

TEST_F(Live, KeepsWhatLeftAsLongAsTheLongestListAndASegmentMore) {
    std::ofstream("www/film.ts") << "of someone else";
    for (int i = 0; i < 11; ++i) {
        publish();
    }
    EXPECT_EQ(publish(), "published 11 1.000; deleted 0; ") << "7.5 s after it left, 8 in fact";
    const auto last_version = fs::last_write_time("www/live.m3u8");
    EXPECT_GE(fs::last_write_time(publicPath(8)), fs::last_write_time(publicPath(9))) << "it left";
    fs::last_write_time(publicPath(1), last_version - 100s);
    fs::last_write_time(publicPath(2), last_version - 6s);
    fs::last_write_time(publicPath(3), last_version + 1h); // by a wrong clock
    restart();
    EXPECT_EQ(said(), "deleted 1; ") << "the time goes on in the next process";
    EXPECT_EQ(publish(), "published 12 1.000; ");
    EXPECT_EQ(publish(), "published 13 1.000; deleted 2; ");
    now += 4s;
    EXPECT_EQ(publish(), "published 14 1.000; ");
    now += 500ms;
    EXPECT_NE(publish().find("deleted 3; "), std::string::npos);
    EXPECT_TRUE(fs::exists("www/film.ts"));
}

TEST_F(Live, EndsAStreamAndBeginsAnother) {
    EXPECT_TRUE(publisher->endStream()) << "there is none";
    EXPECT_EQ(listed(), "none");
    publish();
    publish();
    publisher->endStream();
    EXPECT_EQ(said(), "ended live.m3u8; ");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 1.000 end");
    now += 1h;
    restart();
    EXPECT_EQ(publish(), "published 0 1.000; ");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000");
    EXPECT_EQ(filesLeft(), 3) << "viewers have the old playlist for a while";
    now += 6400ms;
    publish();
    EXPECT_EQ(filesLeft(), 4);
    EXPECT_EQ(publish(), "published 2 1.000; deleted 0; deleted 1; ");
}

TEST_F(Live, TriesAgainWhatFailsAndChangesNothing) {
    publish();
    FinishedSegment next = cut();
    fs::create_directories("www/live.m3u8.tmp/full"); // in the way of the new playlist
    EXPECT_EQ(publish(next), "! www/live.m3u8 cannot be written; trying again until it can. ");
    EXPECT_EQ(publish(next), "") << "once";
    fs::remove_all("www/live.m3u8.tmp");
    sync_medium = [] { return EIO; };
    EXPECT_EQ(publish(next), "");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000");
    sync_medium = [] { return 0; };
    EXPECT_EQ(publish(next), "published 1 1.000; ");

    fs::create_directory(publicPath(2)); // in the way of the next segment
    next = cut();
    EXPECT_EQ(publish(next),
              "! www/.run/vid.0000000002.ts cannot be moved to www/2: Is a directory. ");
    fs::remove(publicPath(2));
    EXPECT_EQ(publish(next), "published 2 1.000; ");
    next = cut();
    fs::remove(next.path);
    EXPECT_EQ(publish(next),
              "! Segments are lost: the disk was full, or they waited for too long. ");
    std::ofstream(next.path).flush();
    EXPECT_EQ(publish(next), "") << "an empty one, but told once";
    publish();
    EXPECT_EQ(listed(), "1/0 1 s: 1.000 1.000 | 1.000");
}

TEST_F(Live, FollowsNothingThatIsNoFile) {
    std::ofstream("victim") << "of someone else";
    for (const char* path : {"www/live.m3u8.tmp", "www/.run/vid.0000000000.ts"}) {
        fs::create_symlink(fs::absolute("victim"), path);
    }
    EXPECT_EQ(::mkfifo("www/.run/vid.0000000001.ts", 0600), 0);
    publishLeft();
    EXPECT_EQ(listed(), "none");
    count = 2;
    EXPECT_EQ(publish(), "published 0 1.000; ");
    EXPECT_EQ(::mkfifo("www/live.m3u8.tmp", 0600), 0);
    EXPECT_EQ(publish(), "published 1 1.000; ");
    EXPECT_EQ(readFile("victim"), "of someone else");
    EXPECT_EQ(readSmallFile("www"), std::nullopt);
    EXPECT_EQ(errno, EINVAL);
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
    sync_medium = [] { return ENOSPC; };
    EXPECT_FALSE(publisher->publish(next));
    EXPECT_TRUE(publisher->isFull());
    EXPECT_EQ(said(), "! www/live.m3u8 cannot be written; trying again until it can. deleted 3; ");
    EXPECT_EQ(listed(), "4/0 1 s: 1.000 1.000 1.000");
    publisher->drop(next);
    EXPECT_EQ(filesLeft(), 3);
}
