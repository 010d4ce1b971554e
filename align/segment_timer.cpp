#include "align/segment_timer.h"

void SegmentTimer::take(std::uint64_t pts, std::uint64_t dts) {
    constexpr std::int64_t longest_pause = std::int64_t{10} * ticks_per_second;
    const std::int64_t step = ticksBetween(last_dts, dts);
    if (is_going_on && (step > longest_pause || step < -longest_fall)) {
        breakOff();
    }
    if (!is_going_on) {
        begin = highest = pts;
    } else {
        since_key_frame += step;
        if (step > 0) {
            steps.add(static_cast<std::uint64_t>(step));
        }
        if (ticksBetween(highest, pts) > 0) {
            highest = pts;
        }
    }
    last_pts = pts;
    last_dts = dts;
    is_going_on = true;
}

void SegmentTimer::breakOff() {
    length_before = length();
    is_going_on = false;
    has_jump = true;
}

void SegmentTimer::beginSegment() {
    begin = highest = last_pts;
    length_before = 0;
    has_jump = false;
}

std::int64_t SegmentTimer::elapsed() const {
    return length_before + (is_going_on ? ticksBetween(begin, last_pts) : 0);
}

std::int64_t SegmentTimer::length() const {
    constexpr std::int64_t single_frame = ticks_per_second / 25; // where no other tells its length
    const auto usual = static_cast<std::int64_t>(steps.get());
    return length_before +
           (is_going_on ? ticksBetween(begin, highest) + (usual > 0 ? usual : single_frame) : 0);
}
