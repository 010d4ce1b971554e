#include "check/stream_facts.h"

#include "tsinspect/pts.h"

#include <cmath>

namespace {

/// The whole rate, or the one of the NTSC family, that is closest to `rate`.
double usualRate(double rate) {
    const double whole = std::round(rate);
    const double family = std::round(rate * ntsc / 6) * 6 / ntsc;
    return std::abs(rate - family) < std::abs(rate - whole) ? family : whole;
}

} // namespace

bool isNoise(const StreamFacts& facts) { return facts.without_sync_byte * 2 >= facts.packets; }

double frameRate(const StreamFacts& facts) {
    constexpr double close = 0.02; // the step that comes most often is a tick off, or by chance
    constexpr double very_close = 0.002;
    if (facts.steps == 0 || facts.video_time <= 0) {
        return 0;
    }
    const double seconds = static_cast<double>(facts.video_time) / ticks_per_second;
    const double average = static_cast<double>(facts.steps) / seconds;
    const double by_step = ticks_per_second / static_cast<double>(facts.frame_steps.get());
    const double rate = std::abs(by_step - average) < close * average ? by_step : average;
    const double usual = usualRate(rate);
    return std::abs(usual - rate) < very_close * rate ? usual : rate;
}
