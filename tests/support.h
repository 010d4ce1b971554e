#pragma once

#include "tsinspect/ts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

using namespace std::literals;

/// A new empty directory of the running test's own; the next run of the test replaces it.
inline std::filesystem::path scratchDirectory() {
    const auto* test = testing::UnitTest::GetInstance()->current_test_info();
    auto path = std::filesystem::absolute("scratch") / test->name();
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    return path;
}

/// The whole of a file, empty where it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Creates or replaces a file.
inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

/// A packet on `pid` with `bytes` from `offset` on and 0xFF elsewhere behind its header.
inline std::string packet(unsigned pid, bool unit_start, std::string_view bytes = {},
                          std::size_t offset = 4) {
    std::string packet(packet_size, '\xFF');
    const unsigned header[] = {0x47, (unit_start ? 0x40U : 0U) | pid >> 8U, pid & 0xFFU, 0x10};
    std::copy(std::begin(header), std::end(header), packet.begin());
    return packet.replace(offset, bytes.size(), bytes);
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
/// packet that may cut; v<ticks>, the start of a video PES packet with that timestamp; x, one whose
/// timestamp would lie beyond the packet's end; a<n>, n other packets.
inline std::string stream(int mux_type, const std::string& script) {
    const unsigned video_pid = mux_type == 0 ? 0x100 : 0x40;
    std::istringstream words(script);
    std::string packets;
    for (char kind = 0; words >> kind;) {
        unsigned long long number = 0;
        if (kind == 'T') {
            packets += packet(mux_type == 0 ? 0x11 : 0, true);
        } else if (kind == 'x') {
            packets += packet(video_pid, true, pesHeader(900000).substr(0, 13), packet_size - 13);
        } else if (words >> number; kind == 'v') {
            packets += packet(video_pid, true, pesHeader(number));
        } else {
            for (; number > 0; --number) {
                packets += packet(0x101, true);
            }
        }
    }
    return packets;
}
