#pragma once

#include "tsinspect/ts.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Packets of one size, one after the other.
struct PacketRun {
    std::size_t size = 0;   ///< in bytes: 188, 192 or 204; 0 where no packets are found
    std::size_t offset = 0; ///< where the first one begins, less than `size`
};

/// Checks that packets begin with a sync byte (ISO/IEC 13818-1, 2.4.3.3), and where they do not,
/// finds their size and where they begin.
class SyncBytes {
public:
    std::uint64_t packets = 0;       ///< of 188 bytes
    std::uint64_t missing = 0;       ///< of their sync bytes
    std::uint64_t first_missing = 0; ///< the number of that packet, from 0 on

    /// Takes the stream's next 188 bytes; true if they begin with a sync byte.
    bool take(const char* packet);

    /// The packets that follow the first missing sync byte, at least nine: of 188 bytes, of 192
    /// with a timestamp in front (M2TS), or of 204 with error correction (ETSI EN 300 429, 4.4.2).
    /// As long as none is missing, they have 188 bytes and no offset.
    [[nodiscard]] PacketRun findPackets() const;

    /// True where so many are missing that hardly anything can have been read correctly.
    [[nodiscard]] bool areNoise() const { return missing * 2 >= packets; }

private:
    std::string bytes; // the first few thousand from the first missing one on
};
