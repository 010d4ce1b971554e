#pragma once

#include "tsinspect/ts.h"

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

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

/// A program association table with the program map table of one program on PID 0x1000.
inline std::string pat() {
    using namespace std::string_literals;
    return packet({.pid = 0, .payload = "\0\0\xB0\x0D\0\1\xC1\0\0\0\1\xF0\0CRC4"s});
}

/// A packet on the PID of that program map table.
inline std::string pmt() { return packet({.pid = 0x1000}); }

/// A program map table of streams of these types, on PID 0x100 and those after it.
inline std::string pmtOf(std::initializer_list<char> types) {
    using namespace std::string_literals;
    std::string streams;
    for (const char type : types) {
        streams += type + "\xE1"s + static_cast<char>(streams.size() / 5) + "\xF0\0"s;
    }
    const auto length = static_cast<char>(13 + streams.size());
    return packet(
        {.pid = 0x1000,
         .payload = "\0\2\xB0"s + length + "\0\1\xC1\0\0\xE1\0\xF0\0"s + streams + "CRC4"});
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

/// Frames one after the other, each with the timestamps of presentation and decoding.
inline std::string reordered(std::initializer_list<std::pair<std::uint64_t, std::uint64_t>> times) {
    std::string packets;
    for (const auto& [pts, dts] : times) {
        std::string header = pesHeader(pts);
        header[7] = '\xC0';
        packets += packet({.pid = 0x100, .payload = header + pesHeader(dts).substr(9)});
    }
    return packets;
}
