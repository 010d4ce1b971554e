#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

/// Finds the value that comes most often in a long sequence, with a few counters (the algorithm of
/// Misra and Gries). A value that makes up more than half of the sequence is always the one found;
/// one that makes up more than a ninth still has a counter at the end.
class UsualValue {
public:
    /// Takes the sequence's next value.
    void add(std::uint64_t value) {
        for (Counter& used : counters) {
            if (used.count > 0 && used.value == value) {
                ++used.count;
                return;
            }
        }
        for (Counter& free : counters) {
            if (free.count == 0) {
                free = {.value = value, .count = 1};
                return;
            }
        }
        for (Counter& used : counters) {
            --used.count;
        }
    }

    /// The value with the highest count, 0 before the first value.
    [[nodiscard]] std::uint64_t get() const {
        return std::max_element(
                   counters.begin(), counters.end(),
                   [](const Counter& a, const Counter& b) { return a.count < b.count; })
            ->value;
    }

private:
    struct Counter {
        std::uint64_t value = 0;
        std::uint64_t count = 0;
    };
    std::array<Counter, 8> counters{};
};
