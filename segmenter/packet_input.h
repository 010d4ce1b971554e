#pragma once

#include "tsinspect/ts.h"

#include <array>
#include <cstddef>

/// Standard input as a sequence of packets, which are looked at in place, in the buffer.
class PacketInput {
public:
    /// Reads until there is at least one whole packet, and does not wait for more. False at the end
    /// of the input, which may come within a packet, and after a read error.
    bool read();

    /// The whole packets that the last read() brought, valid until the next.
    [[nodiscard]] char* begin() { return buffer.data(); }
    [[nodiscard]] char* end() { return buffer.data() + whole; }

private:
    /// 188 KiB: more than a pipe holds (64 KiB), and a multiple of the 4 KiB pages of memory.
    static constexpr std::size_t capacity = std::size_t{1024} * packet_size;

    std::array<char, capacity> buffer;
    std::size_t filled = 0; // bytes in the buffer
    std::size_t whole = 0;  // those of them that are whole packets
};
