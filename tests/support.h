#pragma once

#include "tsinspect/ts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

using namespace std::literals;

/// The whole of a file, empty where it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::filesystem::path& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

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

/// The first 14 bytes of a video PES packet with the timestamp `pts`.
inline std::string pesHeader(std::uint64_t pts) {
    const std::uint64_t timestamp[] = {(pts >> 29U & 0x0EU) | 0x21U, pts >> 22U & 0xFFU,
                                       (pts >> 14U & 0xFFU) | 1U, pts >> 7U & 0xFFU,
                                       (pts << 1U & 0xFFU) | 1U};
    return "\0\0\1\xE0\0\0\x80\x80\5"s + std::string(std::begin(timestamp), std::end(timestamp));
}

// Packets in words, on the PIDs that FFmpeg gives them.

/// A table packet with which a segment may begin.
inline std::string table() { return packet({.pid = 0x11}); }

/// The first packet of a frame with the timestamp `pts`.
inline std::string video(std::uint64_t pts) {
    return packet({.pid = 0x100, .payload = pesHeader(pts)});
}

/// `count` packets of something else.
inline std::string other(int count = 1) {
    std::string packets;
    for (; count > 0; --count) {
        packets += packet({});
    }
    return packets;
}

/// Packets that lie together: {table(), video(90000), other(3)}.
struct Stream {
    Stream(std::initializer_list<std::string> packets) {
        for (const std::string& packet : packets) {
            bytes += packet;
        }
    }
    bool operator==(const Stream&) const = default;

    /// How a failed test shows it.
    friend std::ostream& operator<<(std::ostream& out, const Stream& stream) {
        return out << static_cast<double>(stream.bytes.size()) / packet_size << " packets";
    }

    std::string bytes;
};

/// The same stream on the PIDs that GStreamer gives, if `mux_type` is 1.
inline Stream forMuxer(std::int32_t mux_type, Stream stream) {
    for (std::size_t at = 0; mux_type == 1 && at + 2 < stream.bytes.size(); at += packet_size) {
        char& high = stream.bytes[at + 1];
        char& low = stream.bytes[at + 2];
        if ((high & 0x1F) == 1 && low == 0) { // 0x100 becomes 0x40
            --high;
            low = 0x40;
        } else if ((high & 0x1F) == 0 && low == 0x11) {
            low = 0;
        }
    }
    return stream;
}
