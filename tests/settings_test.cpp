#include "segmenter/options.h"

#include <gtest/gtest.h>

#include <vector>

TEST(Settings, ComeFromTheCommandLine) {
    const std::tuple<std::vector<const char*>, bool, std::string> cases[] = {
        {{"segmenter"}, false, "||live.m3u8|5 0 0"},
        {{"segmenter", "--window=3", "--help"}, false, "||live.m3u8|5 3 0"},
        {{"segmenter", "input.ts", "--help=0"}, true, "||live.m3u8|5 0 0"},
        {{"segmenter", "--playlist_name=", "--duration=-3", "--mux_type=7"}, true, "|||-3 0 7"},
        {{"segmenter", "--prefix=/a/", "--url_prefix=u", "--wi=9"}, true, "/a/|u|live.m3u8|5 0 0"},
    };
    for (auto [arguments, goes_on, values] : cases) {
        Options a{"old", "old", "old", 99, 99, 99};
        EXPECT_EQ(a.parseOptions(static_cast<int>(arguments.size()), arguments.data()), goes_on);
        EXPECT_EQ(a.prefix + '|' + a.url_prefix + '|' + a.playlist_name + '|' +
                      std::to_string(a.duration) + ' ' + std::to_string(a.window) + ' ' +
                      std::to_string(a.mux_type),
                  values);
    }
}
