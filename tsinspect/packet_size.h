#pragma once

#include "tsinspect/ts.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// Looks for sync bytes (ISO/IEC 13818-1, 2.4.3.3) where packets do not begin with one.
class SyncBytes {
public:
    std::uint64_t packets = 0;       ///< of 188 bytes
    std::uint64_t missing = 0;       ///< of their sync bytes
    std::uint64_t first_missing = 0; ///< the number of that packet, from 0 on

    /// Takes the stream's next 188 bytes; true if they begin with a sync byte.
    bool take(const char* packet);

    /// Where packets of `size` bytes begin behind the first byte that is missing: the offset, less
    /// than `size`, from which on sync bytes stand that far apart, at least nine of them.
    [[nodiscard]] std::optional<std::size_t> findPackets(std::size_t size) const;

    /// True where so many are missing that hardly anything was read as it was meant.
    [[nodiscard]] bool areNoise() const { return missing * 2 >= packets; }

private:
    std::string bytes; // some of those behind the first that is missing
};
