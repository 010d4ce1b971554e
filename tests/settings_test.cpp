#include "segmenter/options.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

TEST(Settings, ComeFromTheCommandLine) {
    const std::tuple<std::vector<const char*>, bool, const char*> cases[] = {
        {{"segmenter"}, false, "||live.m3u8|5 0 0"},
        {{"", "input.ts", "--help=0", "--wi=9"}, true, "||live.m3u8|5 0 0"},
        {{"", "--playlist_name=", "--window=3", "--mux_type=7", "--help"}, false, "|||5 3 7"},
        {{"", "--prefix=/a/", "--url_prefix=u", "--duration=-3"}, true, "/a/|u|live.m3u8|-3 0 0"},
    };
    for (auto [arguments, goes_on, values] : cases) {
        Options a{"old", "old", "old", 99, 99, 99};
        EXPECT_EQ(a.parseOptions(static_cast<int>(arguments.size()), arguments.data()), goes_on);
        std::ostringstream out;
        out << a.prefix << '|' << a.url_prefix << '|' << a.playlist_name << '|' << a.duration << ' '
            << a.window << ' ' << a.mux_type;
        EXPECT_EQ(out.str(), values);
    }
}
