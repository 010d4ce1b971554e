#include "playlist/index_file.h"
#include "playlist/segment_name.h"
#include "publish/publisher.h"
#include "segmenter/options.h"
#include "tests/program.h"
#include "tsinspect/pts.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <regex>
#include <sstream>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t noon = 1764072000; // of 2025-11-25

/// A playlist in short: "3/1 4 s: 1.000 2.000 | 1.000 end" has the media sequence 3, the
/// discontinuity sequence 1 and the target duration 4, and a discontinuity before its last segment.
std::string inShort(const LivePlaylist& playlist) {
    std::ostringstream out;
    out << playlist.sequence << '/' << playlist.discontinuities << ' ' << playlist.target_duration
        << " s:";
    for (const LiveSegment& segment : playlist.segments) {
        out << (segment.is_discontinuity ? " | " : " ") << secondsText(segment.length);
    }
    out << (playlist.is_ended ? " end" : "");
    return out.str();
}

/// Tests of a private folder, run/, and a public one, www/.
struct Publish : ProgramTest {
    Publish() { beginStream(); }

    /// Starts a publisher in empty folders.
    void beginStream() {
        for (const char* path : {"run", "www"}) {
            fs::remove_all(path);
            fs::create_directory(path);
        }
        restart();
    }

    /// Starts a publisher in place of the one before.
    void restart() { publisher.emplace(settings, Moment(now), tell, warn); }

    /// Leaves segment `number` in the private folder, written at noon and as many seconds.
    static void cut(unsigned number, const Stream& packets) {
        const std::string path = segmentName("run/", number);
        std::ofstream(path, std::ios::binary) << packets.bytes;
        const timespec time = {.tv_sec = static_cast<std::time_t>(noon + number), .tv_nsec = 0};
        const timespec times[] = {time, time};
        EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }

    /// The same with the frames of that second.
    static void cut(unsigned number) { cut(number, {frames(std::uint64_t{number} * 90000)}); }

    /// Writes the run's playlist, which lists segments `first` to `last` and states `duration`.
    static void list(unsigned first, unsigned last, int duration = 1, bool is_closed = false) {
        Options run = {.prefix = "run/", .playlist_name = "live.m3u8", .duration = duration};
        run.window = 9;
        EXPECT_TRUE(updateIndexFile(run, first, last + 2, is_closed));
    }

    /// What the publisher says when it looks so many milliseconds later: "published 0 1.000; ",
    /// with numbers for addresses, and warnings behind a "! ".
    std::string look(int milliseconds = 50, bool is_over = false) {
        now += std::chrono::milliseconds(milliseconds);
        said.clear();
        publisher->look(Moment(now), is_over);
        return std::regex_replace(said, std::regex("[0-9a-f]{8}\\.0{0,9}([0-9]+)\\.ts"), "$1");
    }

    /// What it says at the end of a run.
    std::string end() { return look(50, true); }

    /// The public playlist in short. Its files have whole packets; without a discontinuity, a date
    /// is that of the segment before, and its length.
    static std::string listed() {
        const auto playlist = readPlaylist(readFile("www/live.m3u8"));
        if (!playlist) {
            return "none";
        }
        std::int64_t date = playlist->segments[0].date;
        std::uint32_t number = playlist->sequence;
        for (const LiveSegment& segment : playlist->segments) {
            EXPECT_EQ(fs::file_size("www/" + address(playlist->stream, number++)) % packet_size, 0);
            EXPECT_TRUE(segment.is_discontinuity || segment.date == date);
            date = segment.date + segment.length;
        }
        return inShort(*playlist);
    }

    /// How many segments are in the public folder.
    static long filesLeft() {
        return std::count_if(fs::directory_iterator("www"), {},
                             [](const auto& file) { return file.path().extension() == ".ts"; });
    }

    PublishSettings settings = {"run/", "www/", "live.m3u8", 3, 0, 0};
    std::chrono::milliseconds now{};
    std::string said;
    Publisher::Tell tell = [this](const std::string& line) { said += line + "; "; };
    Publisher::Tell warn = [this](const std::string& line) { said += "! " + line + ' '; };
    std::optional<Publisher> publisher;
};

/// A run of which the first segments are finished, and how it is published when it is over.
struct RunRow {
    const char* name;
    std::vector<Stream> segments;
    unsigned listed = 0; ///< by the run's playlist; the others were left by a crash
    std::int32_t duration = 1;
    const char* published;
};

// clang-format off
const RunRow rows[] = {
    {.name = "a segment lasts until the first timestamp of the next, the last one until its end",
     .segments = {{frames(0)}, {other(), frames(90050, 3), other()}, {frames(157500, 2)}}, .listed = 3,
     .published = "0/0 1 s: 1.001 0.749 0.500"},
    {.name = "the clock wraps between segments",
     .segments = {{frames(pts_modulus - 90000)}, {frames(0)}}, .listed = 2,
     .published = "0/0 1 s: 1.000 1.000"},
    {.name = "the target duration is at first the longest length, rounded",
     .segments = {{frames(0, 6)}, {frames(135000, 2)}}, .listed = 2,
     .published = "0/0 2 s: 1.500 0.500"},
    {.name = "or the stated duration; a single frame lasts as long as one of 25 a second",
     .segments = {{frames(0, 1)}}, .listed = 1, .duration = 7, .published = "0/0 7 s: 0.040"},
    {.name = "without video the stated duration is the length", .segments = {{other()}, {other()}},
     .listed = 2, .duration = 2, .published = "0/0 2 s: 2.000 2.000"},
    {.name = "a segment of more than two durations is told by its own timestamps",
     .segments = {{frames(0, 12)}, {frames(270000)}}, .listed = 2, .published = "0/0 3 s: 3.000 1.000"},
    {.name = "a jump of the clock inside a segment is no time, and a discontinuity stands behind it",
     .segments = {{frames(900000, 2), frames(9000, 3)}, {frames(76500)}}, .listed = 2,
     .published = "0/0 1 s: 1.250 | 1.000"},
    {.name = "a jump between two segments, too",
     .segments = {{frames(0)}, {frames(8000000)}}, .listed = 2, .published = "0/0 1 s: 1.000 | 1.000"},
    {.name = "the highest timestamp of reordered frames is the last",
     .segments = {{video(0), video(45000), video(22500), video(90000), video(67500)}}, .listed = 1,
     .published = "0/0 2 s: 1.500"},
    {.name = "what a crash left beyond the list is published, cut to whole packets, but no empty file",
     .segments = {{frames(0)}, {frames(90000)}, {}, {"half a packet"}, {frames(180000), "x"}},
     .listed = 1, .published = "0/0 1 s: 1.000 1.000 | 1.000"},
    {.name = "a crash before the first playlist", .segments = {{frames(0)}, {frames(90000, 1)}},
     .published = "0/0 5 s: 1.000 0.040"},
};
// clang-format on

} // namespace

TEST(LivePlaylist, IsReadBackAsItWasWrittenAndNothingElseIs) {
    const std::string text = expectedText("playlists.txt", "a live playlist");
    const LivePlaylist playlist = {
        .stream = 0x1f6a03c2,
        .target_duration = 4,
        .sequence = 17,
        .discontinuities = 1,
        .segments = {{false, 1764076823120, 4040}, {true, 1764076831040, 40}}};
    EXPECT_EQ(playlistText(playlist), text);
    EXPECT_EQ(readPlaylist(text), playlist);
    EXPECT_TRUE(readPlaylist(text + "#EXT-X-ENDLIST\n")->is_ended);
    const std::string largest = std::regex_replace(text, std::regex("TION:4"), "TION:1000000");
    EXPECT_TRUE(readPlaylist(largest).has_value());

    // clang-format off
    for (const auto& [part, other] : {
             std::pair("TION:4", "TION:-4"), {"TION:4", "TION:0"}, {"TION:4", "TION:1000001"},
             {"SEQUENCE:17", "SEQUENCE:4294967295"}, {"SEQUENCE:17", "SEQUENCE:18"},
             {"EXTINF:4.040", "EXTINF:4.04"}, {"#EXTINF:4.040,\n", ""}, {"2025-11", "2025-99"},
             {"1f6a", "../../1f6a"}, {"17.ts", "17.ts.ts"}}) {
        std::string changed = text;
        changed.replace(changed.find(part), std::strlen(part), other);
        EXPECT_EQ(readPlaylist(changed), std::nullopt) << other;
    }
    // clang-format on
    for (std::size_t size = 0; size < text.size(); ++size) { // torn, but not between two segments
        EXPECT_EQ(readPlaylist(text.substr(0, size)).has_value(),
                  size == text.find("#EXT-X-DISCONTINUITY\n"))
            << size << " bytes";
    }
}

TEST(LivePlaylist, LetsSegmentsLeaveWhileThreeTargetDurationsStay) {
    LivePlaylist playlist = {.target_duration = 2};
    const auto append = [&](std::int64_t length, bool is_discontinuity = false) {
        const std::size_t left = appendSegment(playlist, {is_discontinuity, 0, length}, 3).size();
        return std::to_string(left) + " left: " + inShort(playlist);
    };
    for (const bool is_discontinuity : {false, true, false, false}) {
        append(1500, is_discontinuity);
    }
    EXPECT_EQ(append(1499), "0 left: 0/0 2 s: 1.500 | 1.500 1.500 1.500 1.499");
    EXPECT_EQ(append(1501), "2 left: 2/1 2 s: 1.500 1.500 1.499 1.501");
    EXPECT_EQ(append(2499), "1 left: 3/1 2 s: 1.500 1.499 1.501 2.499");
    EXPECT_EQ(append(2500), "0 left: 3/1 3 s: 1.500 1.499 1.501 2.499 2.500") << "the target rises";
    EXPECT_EQ(append(9000), "0 left: 3/1 9 s: 1.500 1.499 1.501 2.499 2.500 9.000");
}

TEST_F(Publish, ListsRunsAsTheRowsSay) {
    for (const RunRow& row : rows) {
        beginStream();
        for (unsigned number = 0; number < row.segments.size(); ++number) {
            cut(number, row.segments[number]);
        }
        if (row.listed > 0) {
            list(0, row.listed - 1, row.duration);
        }
        end();
        EXPECT_EQ(listed(), row.published) << row.name;
    }
}

TEST_F(Publish, WaitsASecondForTheFirstTimestampOfTheNextSegment) {
    cut(0);
    cut(1, {frames(99000)});
    cut(2, {other()});
    EXPECT_EQ(look(), "") << "nothing is listed yet";
    list(0, 1);
    EXPECT_EQ(look(), "published 0 1.100; ");
    EXPECT_EQ(look(949), "") << "the second has not passed";
    cut(2, {other(), frames(198000)});
    EXPECT_EQ(look(), "published 1 1.100; ");
    list(0, 2);
    EXPECT_EQ(look(), "");
    EXPECT_EQ(look(1000), "published 2 1.000; ") << "of its own";
    cut(3, {frames(333000)});
    list(2, 3);
    EXPECT_EQ(look(), "");
    EXPECT_EQ(look(1000), "published 3 1.000; ");
    EXPECT_EQ(listed(), "1/0 1 s: 1.100 1.000 1.000") << "two frames are missing, which is no jump";
    cut(0); // by another run
    cut(1);
    list(0, 0);
    EXPECT_EQ(look(), "published 4 1.000; ");
    EXPECT_EQ(look(1000), "") << "it still writes the second one";
}

TEST_F(Publish, GoesOnWithItsPlaylistAfterEveryRunAndCrash) {
    const auto publish = [this](unsigned number, const Stream& packets) {
        restart();
        cut(number, packets);
        list(number, number);
        end();
        return listed();
    };
    EXPECT_EQ(publish(0, {frames(0)}), "0/0 1 s: 1.000");
    EXPECT_EQ(publish(1, {frames(90000)}), "0/0 1 s: 1.000 1.000") << "the same run";
    EXPECT_EQ(publish(0, {frames(180000)}), "0/0 1 s: 1.000 1.000 | 1.000") << "a new run";
    EXPECT_EQ(publish(2, {frames(540000)}), "1/0 1 s: 1.000 | 1.000 | 1.000")
        << "others are missing";

    const auto playlist = readPlaylist(readFile("www/live.m3u8"));
    ASSERT_TRUE(playlist.has_value());
    EXPECT_EQ(playlist->segments[1].date, 1000 * (noon - 1)) << "the file's time less its length";
    EXPECT_EQ(playlist->segments[2].date, 1000 * (noon + 1));

    for (const unsigned number : {0U, 1U}) { // moved, but then the process was killed
        cut(10 + number);
        fs::rename(segmentName("run/", 10 + number),
                   "www/" + address(playlist->stream, 4 + number));
    }
    cut(12);
    restart();
    EXPECT_EQ(end(), "published 4 1.000; published 5 1.000; published 6 1.000; ");
    EXPECT_EQ(listed(), "4/2 1 s: | 1.000 1.000 1.000");
    EXPECT_EQ(filesLeft(), 7) << "four have left the list";
    restart();
    EXPECT_EQ(look(), "");
}

TEST_F(Publish, EndsAStreamAfterACleanEndIfAskedTo) {
    settings.end = 1;
    cut(0);
    list(0, 0);
    EXPECT_EQ(end(), "published 0 1.000; ") << "a crash";
    restart();
    EXPECT_EQ(end(), "");
    cut(0);
    list(0, 0, 1, true);
    EXPECT_EQ(end(), "published 1 1.000; ended live.m3u8; ");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000 | 1.000 end");
    restart();
    EXPECT_EQ(end(), "") << "there is nothing to begin a stream with";
    cut(0);
    EXPECT_EQ(look(), "");
    list(0, 0);
    EXPECT_EQ(end(), "published 0 1.000; ");
    EXPECT_EQ(listed(), "0/0 1 s: 1.000") << "another stream";
    restart(); // which does not forget the files of the first one
    cut(1, {frames(90000)});
    end();
    look(7499); // the longest time that four segments and one more can have lasted
    EXPECT_EQ(filesLeft(), 4);
    EXPECT_EQ(look(1), "deleted 0; deleted 1; ");
}

TEST_F(Publish, KeepsWhatLeftAsLongAsTheListAndASegmentMore) {
    std::ofstream("www/film.ts") << "of someone else";
    std::ofstream("www/00000000.0000000000.ts") << "of someone else";
    const auto publish = [this](unsigned number) {
        cut(number);
        cut(number + 1);
        list(0, number);
        return look(1000);
    };
    for (unsigned number = 0; number < 9; ++number) {
        publish(number);
    }
    EXPECT_EQ(publish(9), "published 9 1.000; deleted 0; ") << "5.5 s after it left";
    restart(); // the time begins again
    EXPECT_EQ(look(7499), "! No new segment came for 7 s. ");
    EXPECT_EQ(filesLeft(), 2 + 9);
    EXPECT_EQ(look(1), "deleted 1; deleted 2; deleted 3; deleted 4; deleted 5; deleted 6; ");
    for (unsigned number = 10; number < 20; ++number) {
        cut(number);
    }
    list(10, 19);
    EXPECT_EQ(filesLeft(), 2 + 3);
    end();
    EXPECT_EQ(filesLeft(), 2 + 3 + 10);
    restart();
    EXPECT_EQ(filesLeft(), 2 + 3 + 6) << "twice as many as are listed";
}

TEST_F(Publish, SaysWhatAnOperatorMustKnow) {
    EXPECT_EQ(look(15000), "") << "three target durations, as far as is known";
    EXPECT_EQ(look(1000), "! No new segment came for 16 s. ");
    EXPECT_EQ(look(60000), "") << "once";
    cut(0, {frames(0, 8)});
    cut(1, {frames(180000, 10)});
    cut(2, {frames(405000)});
    list(0, 0, 2);
    EXPECT_EQ(look(), "! A new segment came after 76 s. published 0 2.000; ");
    EXPECT_EQ(look(6999), "");

    fs::create_directory("www/live.m3u8.tmp"); // in the way of the new playlist
    list(0, 1, 2);
    EXPECT_EQ(look(), "! 1 lasts 2.500 s: the target duration rises from 2 to 3. "
                      "! www/live.m3u8 cannot be written; trying again until it can. ");
    EXPECT_EQ(look(), "") << "once";
    EXPECT_EQ(listed(), "0/0 2 s: 2.000");
    fs::remove("www/live.m3u8.tmp");
    EXPECT_EQ(look(), "published 1 2.500; ");
    const auto stream = readPlaylist(readFile("www/live.m3u8")).value_or(LivePlaylist()).stream;
    fs::create_directory("www/" + address(stream, 2)); // in the way of the next segment
    EXPECT_EQ(end(), "! run/vid.0000000002.ts cannot be moved to www/2: Is a directory. ");
    fs::remove("www/" + address(stream, 2));
    fs::remove(segmentName("run/", 2));
    cut(4);
    cut(5);
    list(4, 4, 2);
    EXPECT_EQ(look(), "! Segments were lost before 2: the disk was full, or --window is too "
                      "small. published 2 1.000; ");
    EXPECT_EQ(listed(), "0/0 3 s: 2.000 2.500 | 1.000");

    std::ofstream("www/live.m3u8") << "half a playl";
    said.clear();
    restart();
    EXPECT_EQ(said,
              "! www/live.m3u8 is not a playlist of this program: a new stream takes its place. ");
    list(4, 4, 2);
    end();
    look(12000);
    EXPECT_EQ(filesLeft(), 3 + 1)
        << "the list of the other stream may have been as long as possible";
}

TEST_F(Publish, IsEndedByNothingButTheEndOfItsInput) {
    cut(0);
    Program program(SEGMENTER_PUBLISH " --from=run --to=www 2>&1 >/dev/full");
    program.write({"File open error! \n"});
    EXPECT_TRUE(eventually([&] { return program.output() == "File open error! \n"; }));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
        ::kill(program.process(), signal);
    }
    EXPECT_EQ(Program(SEGMENTER_PUBLISH " --from=run --to=www").end().errors,
              "segmenter-publish: Another process publishes www/live.m3u8.\n");
    EXPECT_EQ(listed(), "none");
    EXPECT_EQ(program.end().status, 0);
    EXPECT_EQ(listed(), "0/0 5 s: 1.000");
}

TEST_F(Publish, RefusesWhatMakesNoSense) {
    // clang-format off
    for (const auto& [options, refusal] :
         {std::pair("--from=run", "Both --from and --to are needed."),
          {"--from=run --to=run/", "--from and --to are the same folder."},
          {"--from=run --to=none", "none/ cannot be used: No such file or directory."},
          {"--from=run --to=/proc/self", "run/ and /proc/self/ are on different file systems,"},
          {"--from=run --to=www --playlist_name=../live.m3u8", "--playlist_name takes a file name"},
          {"--from=run --to=www --listed=2", "--listed takes 3 or more,"},
          {"--from=run --to=www --listed=5001", "--listed takes 5000 or less,"},
          {"--from=run --to=www --mux_type=2", "--mux_type takes 0 for FFmpeg and 1 for GStreamer."},
          {"--from=run --to=www --end=2", "--end takes 0 or 1."}}) {
        const Outcome outcome = Program(SEGMENTER_PUBLISH " "s + options).end();
        EXPECT_TRUE(outcome.errors.starts_with("segmenter-publish: "s + refusal)) << outcome.errors;
        EXPECT_EQ(outcome.status, 1) << options;
    }
    // clang-format on
    EXPECT_EQ(Program(SEGMENTER_PUBLISH).end().status, 1) << "without options";
}
