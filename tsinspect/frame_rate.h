#pragma once

#include <cstdint>

/// Frames in so many seconds: 25 in 1, or 30000 in 1001.
struct FrameRate {
    std::uint32_t frames = 25;
    std::uint32_t seconds = 1;

    [[nodiscard]] double perSecond() const { return static_cast<double>(frames) / seconds; }
};

/// The one of the rates that cameras, films and screens have that is nearest to `rate` frames a
/// second, or null where it is more than one percent away.
const FrameRate* usualRate(double rate);

/// The rate to encode video with of which `steps` frames came in `ticks` of 90 kHz, most of them
/// `usual_step` ticks after the one before: the usual rate that it has, or had before a few frames
/// were dropped; where there is none, 25 or 30 frames a second.
FrameRate goodRate(std::uint64_t steps, std::int64_t ticks, std::uint64_t usual_step);
