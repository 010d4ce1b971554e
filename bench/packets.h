#pragma once

#include "tsinspect/ts.h"

#include <cstdint>
#include <iterator>
#include <optional>
#include <string>

// Packets in words, for the streams of measurements and tests.

/// What is particular about a packet.
struct PacketFields {
    std::uint32_t pid = 0x101;
    bool unit_start = true;
    std::optional<unsigned> counter{}; ///< of packets with a payload; none if it is not to count
    std::string adaptation{};          ///< the adaptation field with its length in front, if any
    std::string payload{};             ///< as far as it fits; 0xFF stands behind it
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
