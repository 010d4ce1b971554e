#include "playlist/index_file.h"
#include "playlist/live_playlist.h"
#include "playlist/sliding_window.h"
#include "segmenter/options.h"
#include "tests/support.h"

#include <cstring>

TEST(Playlist, HasTheEndTagAtTheEndAndAlwaysWithoutAWindow) {
    const Folder folder;
    Options settings = {.url_prefix = "/hls", .playlist_name = "list", .duration = -1};
    const std::string end = "#EXT-X-ENDLIST\n";
    for (const auto& [window, is_final, end_tag] :
         {std::tuple(-1, false, ""s), {-1, true, end}, {0, false, end}}) {
        settings.window = window;
        EXPECT_TRUE(updateIndexFile(settings, 4294967292, 4294967295, is_final));
        EXPECT_EQ(readFile("list"), expectedText("playlists.txt", "large numbers") + end_tag);
    }
    EXPECT_TRUE(updateIndexFile(settings, 0, 0, false));
    EXPECT_EQ(readFile("list"), expectedText("playlists.txt", "no segment"));
}

TEST(Window, PassesWhatIsGoneAndNeverRunsAhead) {
    Options settings = {.prefix = "none/", .window = 2};
    unsigned first = 1;
    EXPECT_FALSE(updateIndexFile(settings, first, 9, false)) << "there is no such folder";
    EXPECT_TRUE(updateSlidingWindow(settings, first, 9));
    EXPECT_EQ(first, 7U);
    EXPECT_TRUE(updateSlidingWindow(settings, first, 6)) << "fewer than were deleted";
    settings.window = 0;
    EXPECT_FALSE(updateSlidingWindow(settings, first, 99));
    settings.window = -1;
    EXPECT_TRUE(updateSlidingWindow(settings, first, 99));
    EXPECT_EQ(first, 7U);
}

TEST(LivePlaylist, IsReadBackAsItWasWrittenAndNothingElseIs) {
    const std::string text = expectedText("playlists.txt", "a live playlist");
    // clang-format off
    LivePlaylist playlist = {
        .stream = 0x1f6a03c2, .target_duration = 4, .sequence = 17, .discontinuities = 1,
        .segments = {{false, 1764076823120, 4040}, {true, 1764076831040, 40}}};
    EXPECT_EQ(playlistText(playlist), text);
    EXPECT_EQ(readPlaylist(text), playlist);
    EXPECT_TRUE(readPlaylist(text + "#EXT-X-ENDLIST\n").value().is_ended);
    playlist.target_duration = 1000000;
    playlist.sequence = 4000000000;
    EXPECT_EQ(readPlaylist(playlistText(playlist)), playlist);
    ++playlist.sequence;
    EXPECT_EQ(readPlaylist(playlistText(playlist)), std::nullopt);

    for (const auto& [part, other] : {
             std::pair("TION:4", "TION:-4"), {"TION:4", "TION:0"}, {"TION:4", "TION:1000001"},
             {"SEQUENCE:17", "SEQUENCE:18"}, {"EXTINF:4.040", "EXTINF:4.04"},
             {"EXTINF:4.040", "EXTINF:-4.040"}, {"#EXTINF:4.040,\n", ""}, {"2025-11", "2025-99"},
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
