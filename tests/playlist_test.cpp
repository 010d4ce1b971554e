#include "playlist/index_file.h"
#include "playlist/sliding_window.h"
#include "segmenter/options.h"
#include "tests/support.h"

namespace {

/// The playlist that a call of updateIndexFile leaves.
std::string playlist(Options settings, unsigned first, unsigned count, bool is_final) {
    const Folder folder;
    settings.prefix = "a";
    settings.playlist_name = "b.m3u8";
    EXPECT_TRUE(updateIndexFile(settings, first, count, is_final));
    return readFile("ab.m3u8");
}

} // namespace

TEST(Playlist, HasTheEndTagAtTheEndAndAlwaysWithoutAWindow) {
    EXPECT_EQ(playlist({.duration = -1}, 0, 0, false), expectedText("playlists.txt", "no segment"));
    const Options settings = {.url_prefix = "/hls", .duration = -3, .window = -1};
    const std::string text = expectedText("playlists.txt", "two segments of large numbers");
    EXPECT_EQ(playlist(settings, 4294967292, 4294967295, false), text);
    EXPECT_EQ(playlist(settings, 4294967292, 4294967295, true), text + "#EXT-X-ENDLIST\n");
}

TEST(Playlist, IsNotWrittenWhereItCannotBe) {
    Options settings = {.prefix = "no such folder/"};
    EXPECT_FALSE(updateIndexFile(settings, 0, 1, false));
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
