#pragma once

#include "bench/packets.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>

using namespace std::literals;

/// The whole of a file, empty where it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What `file` in tests/ says under the heading `name`.
inline std::string expectedText(const std::string& file, const std::string& name) {
    const std::string texts = readFile(ROOT "tests/" + file);
    const std::string heading = "== " + name + '\n';
    const std::size_t begin = texts.find(heading) + heading.size();
    return begin < heading.size() ? "nothing stands under this heading"
                                  : texts.substr(begin, texts.find("== ", begin) - begin);
}

/// Packets, or other bytes, that lie together: {table(), video(90000), other(3)}.
struct Stream {
    Stream(std::initializer_list<std::string> parts) {
        for (const std::string& part : parts) {
            bytes += part;
        }
    }
    bool operator==(const Stream&) const = default;

    /// How a failed test shows it.
    friend std::ostream& operator<<(std::ostream& out, const Stream& stream) {
        const double packets = static_cast<double>(stream.bytes.size()) / packet_size;
        return stream.bytes.starts_with('G') ? out << packets << " packets" : out << stream.bytes;
    }

    std::string bytes;
};
