#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

/// Finds the value that comes most often in a long sequence, with a few counters (the algorithm of
/// Misra and Gries). It is found for certain when it makes up more than a ninth of the sequence.
class UsualValue {
public:
    void add(std::uint64_t value) {
        const auto same = std::ranges::find_if(counters, [value](const Counter& counter) {
            return counter.count == 0 || counter.value == value;
        });
        if (same != counters.end()) {
            same->value = value;
            ++same->count;
            return;
        }
        for (Counter& counter : counters) {
            --counter.count;
        }
    }

    /// 0 before the first value.
    [[nodiscard]] std::uint64_t get() const {
        return std::ranges::max_element(counters, {}, &Counter::count)->value;
    }

private:
    struct Counter {
        std::uint64_t value = 0;
        std::uint64_t count = 0;
    };
    std::array<Counter, 8> counters;
};
