#include "playlist/index_file.h"
#include "playlist/sliding_window.h"
#include "segmenter/options.h"
#include "tests/support.h"

TEST(Playlist, ListsFinishedSegments) {
    const std::tuple<Options, unsigned, unsigned, bool, std::string> cases[] = {
        {{"", "", "", 5, 0}, 0, 1, false, "5|#EXT-X-MEDIA-SEQUENCE:0000000000|#EXT-X-ENDLIST|"},
        {{"", "/hls", "", 10, 3},
         7,
         10,
         false,
         "10|#EXT-X-MEDIA-SEQUENCE:0000000007|#EXTINF:10,|/hls/vid.0000000007.ts|"
         "#EXTINF:10,|/hls/vid.0000000008.ts|"},
        {{"", "", "", -3, -1},
         4294967293,
         4294967295,
         true,
         "-3|#EXT-X-MEDIA-SEQUENCE:4294967293|#EXTINF:-3,|vid.4294967293.ts|#EXT-X-ENDLIST|"},
        {{"", "", "", 0, 1}, 0, 0, false, "0|#EXT-X-MEDIA-SEQUENCE:0000000000|"},
    };
    for (auto [settings, first, count, is_final, text] : cases) {
        std::replace(text.begin(), text.end(), '|', '\n');
        settings.prefix = "playlist";
        settings.playlist_name = "_test.m3u8";
        std::ofstream("playlist_test.m3u8.tmp") << std::string(5000, 'x');
        EXPECT_TRUE(updateIndexFile(settings, first, count, is_final));
        EXPECT_EQ(readFile("playlist_test.m3u8"), "#EXTM3U\n#EXT-X-TARGETDURATION:" + text);
    }
}

TEST(Window, PassesWhatIsGoneAndNeverRunsAhead) {
    Options settings{"none/", "", "", 5, 2};
    unsigned first = 1;
    EXPECT_TRUE(updateSlidingWindow(settings, first, 9));
    EXPECT_EQ(first, 7U);
    EXPECT_TRUE(updateSlidingWindow(settings, first, 6));
    settings.window = 0;
    EXPECT_FALSE(updateSlidingWindow(settings, first, 99));
    EXPECT_EQ(first, 7U);
}
