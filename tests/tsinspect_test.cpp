#include "segmenter/options.h"
#include "tests/support.h"
#include "tsinspect/dump.h"
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
    EXPECT_EQ(decodePTS("123456789\x31\x00\x05\xBF\x21"), 90000U);
    EXPECT_EQ(decodePTS("123456789\xF1\x80\x00\x80\x80"), 536887360U);
    EXPECT_EQ(decodePTS("123456789\xFE\xFF\xFE\xFF\xFE"), 8589934591U);
    EXPECT_TRUE(holdsPTS(174));
}

/// What `record`, filled with `bytes`, and the number 17 behind it look like.
template <typename Record>
std::string dump(std::string_view bytes, Record record) {
    std::memcpy(&record, bytes.data(), sizeof record);
    std::ostringstream out;
    out << record << 17 << '\n';
    return out.str();
}

TEST(Dump, PrintsEveryFieldAndLeavesItsNumberBase) {
    EXPECT_EQ(dump("\x47\xB5\x02\x7A"sv, TS::Packet()), readFile(ROOT "tests/ts_header.txt"));
    EXPECT_EQ(dump("\0\0\1\xE0\x07\xEC\xA6\xAA\x05\x3D\x80\x05\xBF\x20\xCD\xAB"sv, PES_HEADER()),
              readFile(ROOT "tests/pes_header.txt"));
}
