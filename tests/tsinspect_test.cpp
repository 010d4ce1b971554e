#include "segmenter/options.h"
#include "tests/support.h"
#include "tsinspect/dump.h"
#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <cstring>
#include <sstream>

namespace {

/// What `record`, filled with `bytes`, and the number 17 behind it look like.
template <typename Record>
std::string dump(std::string_view bytes, Record record) {
    std::memcpy(&record, bytes.data(), sizeof record);
    std::ostringstream out;
    out << record << 17 << '\n';
    return out.str();
}

} // namespace

TEST(VideoStart, IsTheFirstStartCodeThatThePacketHoldsWhole) {
    const auto offset = [](const PacketFields& fields, std::int32_t mux_type = -1) {
        Options settings = {.mux_type = mux_type};
        std::string bytes = packet(fields);
        TS header = headerOf(bytes);
        return syncPES(settings, header, (bytes + "\xE0").data());
    };
    EXPECT_EQ(offset({.payload = "\0\0\0\1\xE0\0\0\1\xE0"s}), 5);
    EXPECT_EQ(offset({.payload = std::string(180, 'x') + "\0\0\1\xE0"s}), 184);
    EXPECT_EQ(offset({.payload = std::string(181, 'x') + "\0\0\1"s}), -1);
    EXPECT_EQ(offset({.unit_start = false, .payload = pesHeader(1)}), -1);
    EXPECT_EQ(offset({.payload = pesHeader(1)}, 0), -1) << "another muxer's PID";
}

TEST(Timestamp, HasAll33BitsAndFollowsAnotherTheShorterWayAroundTheClock) {
    EXPECT_EQ(decodePTS("123456789\x31\x00\x05\xBF\x21"), 90000U);
    EXPECT_EQ(decodePTS("123456789\xF5\x80\x00\x80\x80"), 2684371008U);
    EXPECT_EQ(decodePTS("123456789\xFE\xFF\xFE\xFF\xFE"), 8589934591U);

    EXPECT_EQ(ticksBetween(8589934591, 2), 3);
    EXPECT_EQ(ticksBetween(2, 8589934591), -3);
    EXPECT_EQ(ticksBetween(0, 4294967295), 4294967295);
    EXPECT_EQ(ticksBetween(0, 4294967296), -4294967296);
}

TEST(UsualValue, IsTheOneThatComesMostOften) {
    UsualValue usual;
    EXPECT_EQ(usual.get(), 0U);
    const std::uint64_t values[] = {1, 7, 2, 3, 4, 5, 6, 8, 7, 7, 9, 7, 7, 10, 10, 10};
    for (const std::uint64_t value : values) {
        usual.add(value);
    }
    EXPECT_EQ(usual.get(), 7U) << "9 frees all counters but that of 7";
}

TEST(Dump, PrintsEveryFieldAndLeavesItsNumberBase) {
    EXPECT_EQ(dump("\x47\xB5\x02\x7A"sv, TS::Packet()), readFile(ROOT "tests/ts_header.txt"));
    EXPECT_EQ(dump("\0\0\1\xE0\x07\xEC\xA6\xAA\x05\x3D\x80\x05\xBF\x20\xCD\xAB"sv, PES_HEADER()),
              readFile(ROOT "tests/pes_header.txt"));
}
