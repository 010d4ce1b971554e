#pragma once

#include "tests/packets.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <tuple>

using namespace std::literals;

/// A temporary folder with an empty working directory in it, current for as long as this lives.
class Folder {
public:
    Folder() {
        std::ignore = ::mkdtemp(path.data()); // without it, the next line throws
        std::filesystem::create_directory(path + "/work");
        std::filesystem::current_path(path + "/work");
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::filesystem::current_path(before);
        std::filesystem::remove_all(path);
    }

private:
    std::filesystem::path before = std::filesystem::current_path();
    std::string path = std::filesystem::temp_directory_path() / "segmenter_tests.XXXXXX";
};

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
