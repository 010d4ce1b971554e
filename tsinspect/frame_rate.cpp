#include "tsinspect/frame_rate.h"

#include "tsinspect/pts.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace {

// clang-format off
constexpr FrameRate usual_rates[] = {
    {5, 1}, {6, 1}, {15, 2}, {8, 1}, {10, 1}, {12, 1}, {25, 2}, {15000, 1001}, {15, 1}, {20, 1},
    {24000, 1001}, {24, 1}, {25, 1}, {30000, 1001}, {30, 1}, {48, 1}, {50, 1}, {60000, 1001},
    {60, 1}, {100, 1}, {120, 1},
};
// clang-format on

} // namespace

const FrameRate* usualRate(double rate) {
    constexpr double nearness = 0.01;
    const auto distance = [rate](const FrameRate& usual) {
        return std::abs(usual.perSecond() - rate);
    };
    const FrameRate* nearest = std::min_element(
        std::begin(usual_rates), std::end(usual_rates),
        [&](const FrameRate& a, const FrameRate& b) { return distance(a) < distance(b); });
    return distance(*nearest) < nearness * rate ? nearest : nullptr;
}

FrameRate goodRate(std::uint64_t steps, std::int64_t ticks, std::uint64_t usual_step) {
    constexpr FrameRate low = {25, 1};
    constexpr FrameRate high = {30, 1};
    constexpr double most_dropped = 1.5; // a third of the frames
    if (steps == 0 || ticks <= 0) {
        return low;
    }
    const double average =
        static_cast<double>(steps) * ticks_per_second / static_cast<double>(ticks);
    if (const FrameRate* usual = usualRate(average)) {
        return *usual;
    }
    const double by_step = ticks_per_second / static_cast<double>(usual_step);
    const FrameRate* usual = usualRate(by_step);
    if (usual != nullptr && by_step > average && by_step < most_dropped * average) {
        return *usual;
    }
    return average > (low.perSecond() + high.perSecond()) / 2 ? high : low;
}
