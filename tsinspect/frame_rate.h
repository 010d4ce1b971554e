#pragma once

#include <cstdint>

/// A rate of video frames as an exact fraction: 25 in 1 second, or 30000 in 1001 (MPEG-2's
/// frame_rate_code, ISO/IEC 13818-2, 6.3.3, has most of the usual ones).
struct FrameRate {
    std::uint32_t frames = 25;
    std::uint32_t seconds = 1;

    [[nodiscard]] double perSecond() const { return static_cast<double>(frames) / seconds; }
};

/// Of the rates that cameras, films and screens have, the nearest to `rate` frames a second; null
/// where that is one percent away or more.
const FrameRate* usualRate(double rate);

/// The rate to encode a video with: the usual rate that it has, or had before a few frames were
/// dropped; where there is none, 25 or 30. The video has `steps` from one frame to the next in
/// `ticks` of 90 kHz, of which most are `usual_step` ticks long.
FrameRate goodRate(std::uint64_t steps, std::int64_t ticks, std::uint64_t usual_step);
