#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

/// Finds the value that comes most often in a long sequence, with a few counters (the algorithm of
/// Misra and Gries). It is found for certain when it makes up more than a ninth of the sequence.
class UsualValue {
public:
    void add(std::uint64_t value) {
        for (Counter& counter : counters) {
            if (counter.count == 0 || counter.value == value) {
                counter.value = value;
                ++counter.count;
                return;
            }
        }
        for (Counter& counter : counters) {
            --counter.count;
        }
    }

    /// 0 before the first value.
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
    std::array<Counter, 8> counters;
};
