#include "segmenter/options.h"
#include "tests/support.h"
#include "tsinspect/adaptation_field.h"
#include "tsinspect/dump.h"
#include "tsinspect/pat.h"
#include "tsinspect/pts.h"

#include <cstring>
#include <sstream>
#include <vector>

namespace {

TS headerOf(const std::string& packet) {
    TS header;
    std::memcpy(&header, packet.data(), sizeof header);
    return header;
}

const auto start_code = "\0\0\1\xE0"s;

struct VideoStartRow {
    const char* name;
    std::int32_t mux_type = 0;
    std::uint32_t pid = 0x100;
    bool unit_start = true;
    std::string payload = start_code;
    int offset = -1; ///< of the start code; -1 without one
};

// clang-format off
const VideoStartRow video_starts[] = {
    {.name = "FFmpeg's PID", .offset = 4},
    {.name = "another PID", .pid = 0x40},
    {.name = "GStreamer's PID", .mux_type = 1, .pid = 0x40, .offset = 4},
    {.name = "a PID with one bit more", .mux_type = 1, .pid = 0x1040},
    {.name = "any PID, for other muxers", .mux_type = -1, .pid = 0x1FFF, .offset = 4},
    {.name = "no unit start", .unit_start = false},
    {.name = "audio", .payload = "\0\0\1\xC0"s},
    {.name = "the first of two", .payload = "x" + start_code + start_code, .offset = 5},
    {.name = "one zero more in front", .payload = "\0"s + start_code, .offset = 5},
    {.name = "the last four bytes", .payload = std::string(180, 'x') + start_code, .offset = 184},
    {.name = "cut off by the packet's end", .payload = std::string(181, 'x') + start_code},
};
// clang-format on

/// What a program association section begins with, behind the pointer to it.
const auto section_header = "\0\xB0\x0D\0\1\xC1\0\0"s;
const auto one_program = "\0"s + section_header + "\0\1\xF0\0CRC4"s;

struct ProgramsRow {
    const char* name;
    PacketFields packet;
    std::vector<std::uint32_t> map_pids{};
};

// clang-format off
const ProgramsRow programs[] = {
    {.name = "one program", .packet = {.payload = one_program}, .map_pids = {0x1000}},
    {.name = "two, and the network's table",
     .packet = {.payload = "\0\0\xB0\x15\0\1\xC1\0\0\0\0\xE0\x10\0\1\xF0\0\1\0\xE1\2CRC4"s},
     .map_pids = {0x1000, 0x102}},
    {.name = "behind an adaptation field",
     .packet = {.adaptation = "\1\0"s, .payload = one_program}, .map_pids = {0x1000}},
    {.name = "up to the packet's end",
     .packet = {.payload = '\xAB' + std::string(171, 'x') + section_header + "\0\1\xF0\0"s},
     .map_pids = {0x1000}},
    {.name = "over the packet's end",
     .packet = {.payload = '\xAC' + std::string(172, 'x') + section_header + "\0\1\xF0"s}},
    {.name = "a section header over the packet's end",
     .packet = {.payload = '\xB0' + std::string(176, 'x') + section_header}},
    {.name = "an adaptation field up to the packet's end",
     .packet = {.adaptation = '\xB7' + std::string(183, '\0')}},
    {.name = "a pointer beyond the packet", .packet = {.payload = "\xFF"}},
    {.name = "another table", .packet = {.payload = "\0\2"s + one_program.substr(2)}},
    {.name = "no unit start", .packet = {.unit_start = false, .payload = one_program}},
};
// clang-format on

/// What `record`, filled with `bytes`, and the number 17 behind it look like.
template <typename Record>
std::string dump(std::string_view bytes, Record record) {
    std::memcpy(&record, bytes.data(), sizeof record);
    std::ostringstream out;
    out << record << 17 << '\n';
    return out.str();
}

} // namespace

TEST(VideoStart, IsFoundWhereTheRowsSay) {
    for (const VideoStartRow& row : video_starts) {
        Options settings = {.mux_type = row.mux_type};
        std::string bytes =
            packet({.pid = row.pid, .unit_start = row.unit_start, .payload = row.payload});
        TS header = headerOf(bytes);
        EXPECT_EQ(syncPES(settings, header, (bytes + "\xE0").data()), row.offset) << row.name;
    }
}

TEST(Timestamp, HoldsAll33BitsAndNoMarkerBits) {
    EXPECT_EQ(decodePTS("123456789\x31\x00\x05\xBF\x21"), 90000U);
    EXPECT_EQ(decodePTS("123456789\xF5\x80\x00\x80\x80"), 2684371008U);
    EXPECT_EQ(decodePTS("123456789\xFE\xFF\xFE\xFF\xFE"), 8589934591U);
}

TEST(Timestamp, FollowsAnotherTheShorterWayAroundTheClock) {
    EXPECT_EQ(ticksBetween(8589934591, 2), 3);
    EXPECT_EQ(ticksBetween(2, 8589934591), -3);
    EXPECT_EQ(ticksBetween(0, 4294967295), 4294967295);
    EXPECT_EQ(ticksBetween(0, 4294967296), -4294967296);
}

TEST(Programs, AreFoundWhereTheRowsSay) {
    for (const ProgramsRow& row : programs) {
        const std::string bytes = packet(row.packet);
        std::vector<std::uint32_t> found;
        visitProgramMapPIDs(headerOf(bytes), bytes.data(),
                            [&](std::uint32_t pid) { found.push_back(pid); });
        EXPECT_EQ(found, row.map_pids) << row.name;
    }
}

TEST(Dump, PrintsEveryFieldAndLeavesItsNumberBase) {
    EXPECT_EQ(dump("\x47\xB5\x02\x7A"sv, TS::Packet()), readFile(ROOT "tests/ts_header.txt"));
    EXPECT_EQ(dump("\0\0\1\xE0\x07\xEC\xA6\xAA\x05\x3D\x80\x05\xBF\x20\xCD\xAB"sv, PES_HEADER()),
              readFile(ROOT "tests/pes_header.txt"));
}
