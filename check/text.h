#pragma once

#include "tsinspect/pts.h"

#include <algorithm>
#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>

/// A number rounded to two decimals, without zeros at the end: "4.04", "25".
inline std::string decimal(double number) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(2) << number;
    const std::string text = out.str();
    const std::size_t end = text.find_last_not_of('0');
    return text.substr(0, text[end] == '.' ? end : end + 1);
}

/// `ticks` of the 90 kHz clock as seconds, such as "4.04 s".
inline std::string seconds(std::int64_t ticks) {
    return decimal(static_cast<double>(ticks) / ticks_per_second) + " s";
}

/// A PID as "0x100" or "0x00".
inline std::string pidName(std::uint32_t pid) {
    std::ostringstream out;
    out << "0x" << std::hex << std::setfill('0') << std::setw(2) << pid;
    return out.str();
}

/// `count` and `noun` in the number that fits: "1 segment", "2 segments".
inline std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

/// How many things of one kind there are, where the first one is, and how long they are.
struct Lengths {
    std::uint64_t count = 0;
    std::uint32_t first = 0;   ///< the segment in which add() saw the first one
    std::int64_t shortest = 0; ///< in 90 kHz ticks; 0 without any
    std::int64_t longest = 0;

    void add(std::uint32_t segment, std::int64_t length) {
        first = count == 0 ? segment : first;
        shortest = count == 0 ? length : std::min(shortest, length);
        longest = count++ == 0 ? length : std::max(longest, length);
    }

    /// "4 s", or "4 s to 5.5 s".
    [[nodiscard]] std::string range() const {
        const std::string least = seconds(shortest);
        const std::string most = seconds(longest);
        return least == most ? most : least + " to " + most;
    }

    /// "in segment 3", or "2 times, first in segment 3".
    [[nodiscard]] std::string where() const {
        return (count == 1 ? "" : counted(count, "time") + ", first ") + "in segment " +
               std::to_string(first);
    }
};
