#include "tsinspect/timeline.h"

#include <algorithm>
#include <utility>

Timeline::Step Timeline::add(std::uint64_t next_pts, std::uint64_t next_dts, bool is_key_frame) {
    constexpr std::int64_t second = ticks_per_second;
    const std::uint64_t last_pts = std::exchange(pts, next_pts);
    const std::int64_t ticks = ticksBetween(std::exchange(dts, next_dts), next_dts);
    if (is_key_frame) {
        const std::int64_t distance = ticksBetween(std::exchange(key_pts, pts), pts);
        if (++key_frames > 1 && distance > 0) {
            key_frame_distance.add(static_cast<std::uint64_t>(distance));
        }
    }
    if (frames++ == 0) {
        return {};
    }
    const Step step = {.ticks = ticks,
                       .wraps = pts < last_pts && ticks > 0,
                       .restarts = (ticks < -longest_fall),
                       .jumps = (ticks > second)};
    if (!step.restarts && !step.jumps) {
        reordered += ticksBetween(last_pts, pts) < 0 ? 1 : 0;
        steps_time += ticks;
        ++steps;
        usual_step.add(static_cast<std::uint64_t>(std::max<std::int64_t>(ticks, 0)));
    }
    return step;
}

double Timeline::rate() const {
    const double time = static_cast<double>(steps_time) / ticks_per_second;
    const double average = steps_time > 0 ? static_cast<double>(steps) / time : 0;
    const FrameRate* usual = usualRate(average);
    return usual != nullptr ? usual->perSecond() : average;
}
