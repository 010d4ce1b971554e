#pragma once

#include "tsinspect/section_reader.h"
#include "tsinspect/ts.h"

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Packets in words, for the streams of measurements and tests.

/// What is particular about a packet.
struct PacketFields {
    std::uint32_t pid = 0x101;
    bool unit_start = true;
    std::optional<unsigned> counter{}; ///< of packets with a payload; none if it is not to count
    std::string adaptation{};          ///< the adaptation field with its length in front, if any
    std::string payload{};             ///< as far as it fits; 0xFF fills the rest
};

inline std::string packet(const PacketFields& fields) {
    const unsigned control =
        (fields.adaptation.empty() ? 0U : 0x20U) | (fields.counter ? 0x10U : 0U);
    const unsigned header[] = {0x47, (fields.unit_start ? 0x40U : 0U) | fields.pid >> 8U,
                               fields.pid & 0xFFU, control | fields.counter.value_or(0)};
    std::string bytes(std::begin(header), std::end(header));
    bytes += fields.adaptation + fields.payload;
    bytes.resize(packet_size, '\xFF');
    return bytes;
}

/// `count` times the same packets.
inline std::string times(int count, const std::string& packets) {
    std::string bytes;
    while (count-- > 0) {
        bytes += packets;
    }
    return bytes;
}

/// The first 14 bytes of a video PES packet with the timestamp `pts`.
inline std::string pesHeader(std::uint64_t pts) {
    const std::uint64_t timestamp[] = {(pts >> 29U & 0x0EU) | 0x21U, pts >> 22U & 0xFFU,
                                       (pts >> 14U & 0xFFU) | 1U, pts >> 7U & 0xFFU,
                                       (pts << 1U & 0xFFU) | 1U};
    return std::string("\0\0\1\xE0\0\0\x80\x80\5", 9) +
           std::string(std::begin(timestamp), std::end(timestamp));
}

/// A table packet of FFmpeg with which a segment may begin.
inline std::string table() { return packet({.pid = 0x11}); }

/// The first packet of a frame with the timestamp `pts`, in 90 kHz ticks, on FFmpeg's PID.
inline std::string video(std::uint64_t pts, std::uint32_t pid = 0x100) {
    return packet({.pid = pid, .payload = pesHeader(pts)});
}

/// `count` packets of something else.
inline std::string other(int count = 1) { return times(count, packet({})); }

/// `bytes` and their checksum: a section of a table.
inline std::string section(std::string bytes) {
    const std::uint32_t crc =
        sectionChecksum(std::vector<unsigned char>(bytes.begin(), bytes.end()));
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
        bytes += static_cast<char>(crc >> shift & 0xFFU);
    }
    return bytes;
}

/// A program association table; each program is named by its number and the PID of its map.
inline std::string patOf(std::initializer_list<std::pair<int, std::uint32_t>> programs) {
    using namespace std::string_literals;
    std::string entries;
    for (const auto& [number, pid] : programs) {
        const unsigned bytes[] = {0, static_cast<unsigned>(number), 0xE0U | pid >> 8U, pid & 0xFFU};
        entries.append(std::begin(bytes), std::end(bytes));
    }
    const auto length = static_cast<char>(9 + entries.size());
    return packet(
        {.pid = 0, .payload = "\0"s + section("\0\xB0"s + length + "\0\1\xC1\0\0"s + entries)});
}

/// That of one program, whose map is on PID 0x1000.
inline std::string pat() { return patOf({{1, 0x1000}}); }

/// A program map table of streams of these types, on PID `first` and those after it.
inline std::string pmtOf(std::initializer_list<char> types, std::uint32_t pid = 0x1000,
                         std::uint32_t first = 0x100, int number = 1) {
    using namespace std::string_literals;
    const auto pidBytes = [](std::uint32_t value) {
        return std::string{static_cast<char>(0xE0U | value >> 8U),
                           static_cast<char>(value & 0xFFU)};
    };
    std::string streams;
    for (std::uint32_t stream = first; const char type : types) {
        streams += type + pidBytes(stream++) + "\xF0\0"s;
    }
    const auto length = static_cast<char>(13 + streams.size());
    return packet(
        {.pid = pid,
         .payload = "\0"s + section("\2\xB0"s + length + "\0"s + static_cast<char>(number) +
                                    "\xC1\0\0"s + pidBytes(first) + "\xF0\0"s + streams)});
}

/// Packets with these continuity counters.
inline std::string counters(std::uint32_t pid, std::initializer_list<unsigned> values) {
    std::string packets;
    for (const unsigned value : values) {
        packets += packet({.pid = pid, .counter = value});
    }
    return packets;
}

/// `count` frames, `step` ticks apart; with the first one decoding can begin.
inline std::string frames(std::uint64_t pts, int count = 4, std::uint64_t step = 22500) {
    std::string packets = packet({.pid = 0x100, .adaptation = "\1\x40", .payload = pesHeader(pts)});
    while (--count > 0) {
        packets += video(pts += step);
    }
    return packets;
}

/// The first packet of a frame, shown and decoded at these times, with `bytes` behind its PES
/// header.
inline std::string frame(std::uint64_t pts, std::uint64_t dts, const std::string& bytes,
                         std::uint32_t pid = 0x100) {
    std::string header = pesHeader(pts);
    header[7] = '\xC0';
    header[8] = 10;
    return packet({.pid = pid, .payload = header + pesHeader(dts).substr(9) + bytes});
}

/// A key frame of H.264 with its parameter set, and another frame.
inline std::string key(std::uint64_t pts, std::uint32_t pid = 0x100) {
    using namespace std::string_literals;
    return frame(pts, pts, "\0\0\1\x67\0\0\1\x65"s, pid);
}
inline std::string delta(std::uint64_t pts, std::uint32_t pid = 0x100) {
    using namespace std::string_literals;
    return frame(pts, pts, "\0\0\1\x41"s, pid);
}
