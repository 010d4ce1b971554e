#include "playlist/index_file.h"
#include "playlist/segment_name.h"
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
        {{"", "", "", 0, 1}, 5, 5, false, "0|#EXT-X-MEDIA-SEQUENCE:0000000005|"},
        {{"", "", "", 0, 1}, 0, 0, false, "0|#EXT-X-MEDIA-SEQUENCE:0000000000|"},
    };
    for (auto [settings, first, count, is_final, text] : cases) {
        std::replace(text.begin(), text.end(), '|', '\n');
        settings.prefix = scratchDirectory() / "live";
        settings.playlist_name = ".m3u8";
        writeFile(settings.prefix + ".m3u8.tmp", std::string(5000, 'x'));
        EXPECT_TRUE(updateIndexFile(settings, first, count, is_final));
        EXPECT_EQ(readFile(settings.prefix + ".m3u8"), "#EXTM3U\n#EXT-X-TARGETDURATION:" + text);
    }
}

TEST(Window, DeletesWhatHasLeftItAndPassesWhatIsGone) {
    const std::tuple<std::int32_t, unsigned, unsigned, unsigned> cases[] = {
        {0, 0, 9, 0}, {1, 0, 1, 0}, {1, 0, 2, 1}, {3, 0, 3, 0},
        {3, 1, 9, 6}, {2, 6, 5, 6}, {-1, 0, 9, 0}};
    for (const auto& [window, first, count, first_after] : cases) {
        Options settings{scratchDirectory() / "a.", "", "", 5, window};
        for (const unsigned n : {0U, 1U, 2U, 5U, 6U}) {
            writeFile(settings.prefix + segmentName(n), "");
        }
        unsigned moved = first;
        EXPECT_EQ(updateSlidingWindow(settings, moved, count), window != 0);
        EXPECT_EQ(moved, first_after) << "window " << window << ", count " << count;
        for (const unsigned n : {0U, 1U, 2U, 5U, 6U}) {
            EXPECT_EQ(std::filesystem::exists(settings.prefix + segmentName(n)),
                      n < first || n >= first_after);
        }
    }
}
