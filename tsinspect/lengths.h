#pragma once

#include <algorithm>
#include <cstdint>

/// How many things of one kind there are, where the first one is, and how long they are.
struct Lengths {
    std::uint64_t count = 0;
    std::uint32_t first = 0;   ///< where add() saw the first one
    std::int64_t shortest = 0; ///< in the unit that add() is given; 0 without any
    std::int64_t longest = 0;

    /// Counts one more, in the part of the stream with the number `where`.
    void add(std::uint32_t where, std::int64_t length) {
        first = count == 0 ? where : first;
        shortest = count == 0 ? length : std::min(shortest, length);
        longest = count++ == 0 ? length : std::max(longest, length);
    }
};
