#include "segmenter/options.h"
#include "tests/support.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <cstring>

TEST(VideoStart, IsFoundOnTheVideoPidOfTheMuxerOnly) {
    const std::tuple<const char*, std::int32_t, std::string, int> cases[] = {
        {"no unit start", 0, packet(0x100, false, "\0\0\1\xE0"sv), -1},
        {"FFmpeg's PID", 0, packet(0x100, true, "\0\0\1\xE0"sv), 4},
        {"FFmpeg, wrong PID", 0, packet(0x40, true, "\0\0\1\xE0"sv), -1},
        {"GStreamer's PID", 1, packet(0x40, true, "\0\0\1\xE0"sv), 4},
        {"GStreamer, wrong PID", 1, packet(0x140, true, "\0\0\1\xE0"sv), -1},
        {"other muxers, any PID", -1, packet(0x1FFF, true, "\0\0\1\xE0"sv), 4},
        {"in the header itself", 2, packet(0x1F00, true, "\0\0\1\xE0"sv, 2), 2},
        {"the first of two", 0, packet(0x100, true, "\0\0\1\xE0\xFF\0\0\1\xE0"sv, 9), 9},
        {"one zero more in front", 0, packet(0x100, true, "\0\0\0\1\xE0"sv), 5},
        {"audio", 0, packet(0x100, true, "\0\0\1\xC0"sv), -1},
        {"the last four bytes", 0, packet(0x100, true, "\0\0\1\xE0"sv, 184), 184},
        {"cut off by the end", 0, packet(0x100, true, "\0\0\1"sv, 185) + "\xE0", -1},
    };
    for (auto [what, mux_type, bytes, offset] : cases) {
        Options settings;
        settings.mux_type = mux_type;
        TS header;
        std::memcpy(&header, bytes.data(), sizeof header);
        EXPECT_EQ(syncPES(settings, header, bytes.data()), offset) << what;
    }
}

TEST(Timestamp, HoldsAll33BitsAndNoMarkerBits) {
    const std::pair<std::string, std::uint64_t> cases[] = {{"\x31\x00\x05\xBF\x21"s, 90000},
                                                           {"\x29\x00\x01\x00\x01"s, 4294967296},
                                                           {"\xFE\xFF\xFE\xFF\xFE"s, 8589934591},
                                                           {"\xF1\x80\x00\x80\x80"s, 536887360}};
    for (const auto& [bytes, pts] : cases) {
        EXPECT_EQ(decodePTS(("123456789" + bytes).data()), pts);
    }
}
