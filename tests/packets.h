#pragma once

#include "tsinspect/pts.h"
#include "tsinspect/section_reader.h"
#include "tsinspect/ts.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Packets in words, for the streams of measurements and tests.

using namespace std::string_literals;

/// The low eight bits of each value.
inline std::string bytesOf(std::initializer_list<std::uint64_t> values) {
    std::string bytes;
    for (const std::uint64_t value : values) {
        bytes += static_cast<char>(value & 0xFFU);
    }
    return bytes;
}

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
    std::string bytes = bytesOf({0x47, (fields.unit_start ? 0x40U : 0U) | fields.pid >> 8U,
                                 fields.pid, control | fields.counter.value_or(0)}) +
                        fields.adaptation + fields.payload;
    bytes.resize(packet_size, '\xFF');
    return bytes;
}

inline std::string times(int count, const std::string& packets) {
    std::string bytes;
    while (count-- > 0) {
        bytes += packets;
    }
    return bytes;
}

/// How a video PES packet begins that is shown at `pts`, and decoded at `dts` if not then.
inline std::string pesHeader(std::uint64_t pts, std::optional<std::uint64_t> dts = {}) {
    const auto field = [](std::uint64_t time) {
        return bytesOf({(time >> 29U & 0x0EU) | 0x21U, time >> 22U, time >> 14U | 1U, time >> 7U,
                        time << 1U | 1U});
    };
    return "\0\0\1\xE0\0\0\x80"s +
           (dts ? "\xC0\x0A" + field(pts) + field(*dts) : "\x80\5" + field(pts));
}

/// A table packet of FFmpeg with which a segment may begin.
inline std::string table() { return packet({.pid = 0x11}); }

/// The first packet of a frame with the timestamp `pts`, in 90 kHz ticks, on FFmpeg's PID.
inline std::string video(std::uint64_t pts) {
    return packet({.pid = 0x100, .payload = pesHeader(pts)});
}

inline std::string other(int count = 1) { return times(count, packet({})); }

/// `bytes` and their checksum: a section of a table.
inline std::string section(const std::string& bytes) {
    const std::uint32_t crc =
        sectionChecksum(std::vector<unsigned char>(bytes.begin(), bytes.end()));
    return bytes + bytesOf({crc >> 24U, crc >> 16U, crc >> 8U, crc});
}

/// A program association table; each program is named by its number and the PID of its map.
inline std::string pat(std::initializer_list<std::pair<unsigned, std::uint32_t>> programs = {
                           {1, 0x1000}}) {
    std::string entries;
    for (const auto& [number, pid] : programs) {
        entries += bytesOf({0, number, 0xE0U | pid >> 8U, pid});
    }
    const std::string head = "\0\xB0"s + bytesOf({9 + entries.size()}) + "\0\1\xC1\0\0"s;
    return packet({.pid = 0, .payload = "\0"s + section(head + entries)});
}

/// A program map table of streams of these types, on PID `first` and those after it, each with
/// `descriptors`.
inline std::string pmtOf(std::initializer_list<unsigned char> types, std::uint32_t pid = 0x1000,
                         std::uint32_t first = 0x100, unsigned number = 1,
                         const std::string& descriptors = "") {
    std::string streams;
    for (std::uint32_t stream = first; const unsigned char type : types) {
        streams += bytesOf({type, 0xE0U | stream >> 8U, stream, 0xF0U, descriptors.size()});
        streams += descriptors;
        ++stream;
    }
    const std::string head = bytesOf({2U, 0xB0U, 13 + streams.size(), 0U, number, 0xC1U, 0U, 0U,
                                      0xE0U | first >> 8U, first, 0xF0U, 0U});
    return packet({.pid = pid, .payload = "\0"s + section(head + streams)});
}

inline std::string counters(std::uint32_t pid, std::initializer_list<unsigned> values) {
    std::string packets;
    for (const unsigned value : values) {
        packets += packet({.pid = pid, .counter = value});
    }
    return packets;
}

/// The first packet of a frame with `bytes` behind its PES header, and a start code in between.
inline std::string frame(std::uint64_t pts, const std::string& bytes,
                         std::optional<std::uint64_t> dts = {}, std::uint32_t pid = 0x100) {
    return packet({.pid = pid, .payload = pesHeader(pts, dts) + "\0\0\1"s + bytes});
}

/// A key frame of H.264 with its parameter set, and another frame.
inline std::string key(std::uint64_t pts, std::uint32_t pid = 0x100) {
    return frame(pts, "\x67\0\0\1\x65"s, {}, pid);
}
inline std::string delta(std::uint64_t pts, std::uint32_t pid = 0x100) {
    return frame(pts, bytesOf({0x41}), {}, pid);
}

/// A key frame, and others behind it, a quarter of a second apart: `count` frames together.
inline std::string frames(std::uint64_t pts, int count = 4) {
    std::string packets = key(pts % pts_modulus);
    while (--count > 0) {
        packets += delta((pts += 22500) % pts_modulus);
    }
    return packets;
}

inline std::vector<std::string> split(const std::string& stream) {
    std::vector<std::string> packets;
    for (std::size_t at = 0; at < stream.size(); at += packet_size) {
        packets.push_back(stream.substr(at, packet_size));
    }
    return packets;
}

/// `stream` with these bytes before and behind each packet.
inline std::string spaced(const std::string& stream, const char* before,
                          const std::string& behind) {
    std::string bytes;
    for (const std::string& packet : split(stream)) {
        bytes.append(before).append(packet).append(behind);
    }
    return bytes;
}

inline TS headerOf(const std::string& packet) {
    TS header;
    std::memcpy(&header, packet.data(), sizeof header);
    return header;
}
