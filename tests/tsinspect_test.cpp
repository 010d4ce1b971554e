#include "segmenter/options.h"
#include "tests/support.h"
#include "tsinspect/dump.h"
#include "tsinspect/frame_rate.h"
#include "tsinspect/pat.h"
#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <cstring>
#include <sstream>
#include <vector>

namespace {

TS headerOf(const std::string& packet) {
    TS header;
    std::memcpy(&header, packet.data(), sizeof header);
    return header;
}

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
    EXPECT_EQ(offset({.pid = 0x101, .payload = pesHeader(1)}, 0), -1) << "another muxer's PID";
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
    const auto usual = [](std::initializer_list<std::uint64_t> values) {
        UsualValue found;
        for (const std::uint64_t value : values) {
            found.add(value);
        }
        return found.get();
    };
    EXPECT_EQ(usual({}), 0U);
    EXPECT_EQ(usual({5, 0, 0}), 0U);
    EXPECT_EQ(usual({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 10}), 10U)
        << "more than there are counters";
    EXPECT_EQ(usual({1, 7, 2, 3, 4, 5, 6, 8, 7, 7, 9, 7, 7, 10, 10, 10}), 7U)
        << "a counter that becomes free goes to no value that has one already";
}

TEST(FrameRate, IsExactForCamerasFilmsAndScreens) {
    for (const double rate :
         {5.,  6.,  7.5, 8.,  10., 12.,  12.5, 15.,           20.,           24.,
          25., 30., 48., 50., 60., 100., 120., 24000. / 1001, 30000. / 1001, 60000. / 1001}) {
        EXPECT_EQ(usualRate(rate)->perSecond(), rate);
    }
}

TEST(Programs, AreFoundWhereTheirTableIs) {
    using PIDs = std::vector<std::uint32_t>;
    const auto found = [](const PacketFields& fields) {
        const std::string bytes = packet(fields);
        PIDs pids;
        visitProgramMapPIDs(headerOf(bytes), bytes.data(),
                            [&](std::uint32_t pid) { pids.push_back(pid); });
        return pids;
    };
    const PIDs one = {0x1000};
    const auto header = "\0\xB0\x0D\0\1\xC1\0\0"s; // of a section with one program
    const auto section = "\0"s + header + "\0\1\xF0\0CRC4"s;
    const auto behind = [](unsigned char count) {
        return static_cast<char>(count) + std::string(count, 'x');
    };
    EXPECT_EQ(found({.payload = "\0\0\xB0\x15\0\1\xC1\0\0\0\0\xE0\x10\0\1\xF0\0\1\0\xE1\2CRC4"s}),
              (PIDs{0x1000, 0x102}))
        << "behind the network's table";
    EXPECT_EQ(found({.adaptation = "\1\0"s, .payload = section}), one);
    EXPECT_EQ(found({.payload = behind(0xAB) + header + "\0\1\xF0\0"s}), one) << "just fits";
    EXPECT_EQ(found({.payload = behind(0xAC) + header + "\0\1\xF0"s}), PIDs()) << "over the end";
    EXPECT_EQ(found({.payload = behind(0xB0) + header}), PIDs()) << "a header over the end";
    EXPECT_EQ(found({.adaptation = '\xB7' + std::string(183, '\0')}), PIDs()) << "no payload";
    EXPECT_EQ(found({.payload = "\xFF"}), PIDs()) << "a pointer beyond the packet";
    EXPECT_EQ(found({.payload = "\0\2"s + section.substr(2)}), PIDs()) << "another table";
    EXPECT_EQ(found({.unit_start = false, .payload = section}), PIDs()) << "no unit start";
}

TEST(Dump, PrintsEveryFieldAndLeavesItsNumberBase) {
    EXPECT_EQ(dump("\x47\xB5\x02\x7A"sv, TS::Packet()), readFile(ROOT "tests/ts_header.txt"));
    EXPECT_EQ(dump("\0\0\1\xE0\x07\xEC\xA6\xAA\x05\x3D\x80\x05\xBF\x20\xCD\xAB"sv, PES_HEADER()),
              readFile(ROOT "tests/pes_header.txt"));
}
