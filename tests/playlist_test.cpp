#include "playlist/index_file.h"
#include "playlist/sliding_window.h"
#include "segmenter/options.h"
#include "tests/support.h"

namespace {

/// A call of updateIndexFile and the playlist that it writes.
struct PlaylistRow {
    const char* name;
    Options settings;
    unsigned first = 0;
    unsigned count = 0;
    bool is_final = false;
    const char* playlist;
};

// clang-format off
const PlaylistRow rows[] = {
    {.name = "without a window every playlist has the end tag; no segments are no entries",
     .settings = {.duration = 0},
     .playlist = R"(#EXTM3U
#EXT-X-TARGETDURATION:0
#EXT-X-MEDIA-SEQUENCE:0000000000
#EXT-X-ENDLIST
)"},
    {.name = "with any window only the last playlist has it, also with a negative one",
     .settings = {.url_prefix = "/hls", .duration = 10, .window = -1},
     .first = 7, .count = 9,
     .playlist = R"(#EXTM3U
#EXT-X-TARGETDURATION:10
#EXT-X-MEDIA-SEQUENCE:0000000007
#EXTINF:10,
/hls/vid.0000000007.ts
)"},
    {.name = "numbers have ten digits, durations any sign",
     .settings = {.duration = -3, .window = 3},
     .first = 4294967293, .count = 4294967295, .is_final = true,
     .playlist = R"(#EXTM3U
#EXT-X-TARGETDURATION:-3
#EXT-X-MEDIA-SEQUENCE:4294967293
#EXTINF:-3,
vid.4294967293.ts
#EXT-X-ENDLIST
)"},
};
// clang-format on

} // namespace

TEST(Playlist, ReadsAsTheRowsSay) {
    for (PlaylistRow row : rows) {
        row.settings.prefix = "playlist";
        row.settings.playlist_name = "_test.m3u8";
        EXPECT_TRUE(updateIndexFile(row.settings, row.first, row.count, row.is_final)) << row.name;
        EXPECT_EQ(readFile("playlist_test.m3u8"), row.playlist) << row.name;
    }
    Options settings = {.prefix = "none/"};
    EXPECT_FALSE(updateIndexFile(settings, 0, 1, false)) << "there is no such folder";
}

TEST(Window, PassesWhatIsGoneAndNeverRunsAhead) {
    Options settings = {.prefix = "none/", .window = 2};
    unsigned first = 1;
    EXPECT_TRUE(updateSlidingWindow(settings, first, 9));
    EXPECT_EQ(first, 7U);
    EXPECT_TRUE(updateSlidingWindow(settings, first, 6)) << "fewer than were deleted";
    settings.window = 0;
    EXPECT_FALSE(updateSlidingWindow(settings, first, 99));
    settings.window = -1;
    EXPECT_TRUE(updateSlidingWindow(settings, first, 99));
    EXPECT_EQ(first, 7U);
}
