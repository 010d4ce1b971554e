#pragma once

#include "tsinspect/ts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

using namespace std::literals;

/// The whole of a file, empty where it cannot be read.
inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A packet on `pid` with `bytes` from `offset` on, as far as they fit, and 0xFF elsewhere behind
/// its header.
inline std::string packet(unsigned pid, bool unit_start, std::string_view bytes = {},
                          std::size_t offset = 4) {
    std::string packet(packet_size, '\xFF');
    const unsigned header[] = {0x47, (unit_start ? 0x40U : 0U) | pid >> 8U, pid & 0xFFU, 0x10};
    std::copy(std::begin(header), std::end(header), packet.begin());
    return packet.replace(offset, bytes.size(), bytes).substr(0, packet_size);
}

/// The first 14 bytes of a video PES packet with the timestamp `pts`.
inline std::string pesHeader(unsigned long long pts) {
    std::string header("\x00\x00\x01\xE0\x00\x00\x80\x80\x05"sv);
    for (const unsigned long long byte :
         {(pts >> 29 & 0x0E) | 0x21, pts >> 22, pts >> 14 | 1, pts >> 7, pts << 1 | 1}) {
        header += static_cast<char>(byte & 0xFF);
    }
    return header;
}

/// The packets that `script` describes in words, on the PIDs of the muxer `mux_type`: T, a table
/// packet that may cut; v<ticks>, the start of a video PES packet with that timestamp; x<ticks>,
/// one whose timestamp runs over the packet's end; a<n>, n other packets.
inline std::string stream(int mux_type, const std::string& script) {
    std::istringstream words(script);
    std::string packets;
    for (char kind = 0; words >> kind;) {
        unsigned long long number = 0;
        if (kind == 'T') {
            packets += packet(mux_type == 0 ? 0x11 : 0, true);
        } else if (words >> number; kind != 'a') {
            packets += packet(mux_type == 0 ? 0x100 : 0x40, true, pesHeader(number),
                              kind == 'v' ? 4 : packet_size - 13);
        } else {
            for (; number > 0; --number) {
                packets += packet(0x101, true);
            }
        }
    }
    return packets;
}
