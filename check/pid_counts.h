#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// Counts something by PID: each of the first few PIDs, and the sum for all.
struct PIDCounts {
    struct Entry {
        std::uint32_t pid;
        std::uint64_t count;
    };

    void add(std::uint32_t pid, std::uint64_t count = 1) {
        sum += count;
        const auto end = entries.begin() + size;
        const auto entry =
            std::find_if(entries.begin(), end, [pid](const Entry& e) { return e.pid == pid; });
        if (entry != end) {
            entry->count += count;
        } else if (end != entries.end()) {
            *end = {pid, count};
            ++size;
        }
    }

    std::array<Entry, 4> entries{};
    std::ptrdiff_t size = 0;
    std::uint64_t sum = 0;
};
