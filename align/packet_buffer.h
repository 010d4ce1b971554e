#pragma once

#include "tsinspect/ts.h"

#include <algorithm>
#include <cstddef>
#include <vector>

/// Packets that wait to be written. Its memory grows with the most that ever waited.
class PacketBuffer {
public:
    /// A place for one more packet behind the others, whose 188 bytes the caller sets before the
    /// next call.
    char* add() {
        if (bytes.size() - end < packet_size) {
            bytes.resize(2 * bytes.size() + packet_size);
        }
        end += packet_size;
        return &bytes[end - packet_size];
    }

    /// How many bytes wait.
    [[nodiscard]] std::size_t size() const { return end; }
    [[nodiscard]] const char* data() const { return bytes.data(); }

    /// Drops what lies behind the first `size` bytes.
    void truncate(std::size_t size) { end = size; }

    /// Removes the first `count` bytes.
    void removeFirst(std::size_t count) {
        std::copy(at(count), at(end), at(0));
        end -= count;
    }

    /// Moves what lies behind the first `from` bytes to where the first `to` bytes end.
    void moveToFront(std::size_t from, std::size_t to) { std::rotate(at(to), at(from), at(end)); }

private:
    std::vector<char>::iterator at(std::size_t i) {
        return bytes.begin() + static_cast<std::ptrdiff_t>(i);
    }

    std::vector<char> bytes = std::vector<char>(std::size_t{1024} * packet_size);
    std::size_t end = 0;
};
