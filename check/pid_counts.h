#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// Counts something, by PID for the first few PIDs that come, and in all.
class PIDCounts {
public:
    struct Entry {
        std::uint32_t pid = 0;
        std::uint64_t count = 0;
    };

    /// Adds `count`, at least 1.
    void add(std::uint32_t pid, std::uint64_t count = 1) {
        sum += count;
        for (Entry& entry : entries) {
            if (entry.count == 0 || entry.pid == pid) {
                used += entry.count == 0 ? 1 : 0;
                entry = {.pid = pid, .count = entry.count + count};
                return;
            }
        }
    }

    [[nodiscard]] std::uint64_t total() const { return sum; }
    [[nodiscard]] std::span<const Entry> listed() const { return {entries.data(), used}; }

private:
    std::array<Entry, 4> entries;
    std::size_t used = 0;
    std::uint64_t sum = 0;
};
