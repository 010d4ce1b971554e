#pragma once

#include "tsinspect/frame_rate.h"
#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <cstdint>

/// What the timestamps of a video (ISO/IEC 13818-1, 2.4.3.7) say about its frames, taken in the
/// order in which they are decoded. Times are in 90 kHz ticks.
struct Timeline {
    std::uint64_t frames = 0;
    std::uint64_t key_frames = 0;
    std::uint64_t reordered = 0; ///< timestamps a little lower than the one before: B-frames
    std::uint64_t steps = 0;     ///< from one frame to the next, without restarts and jumps
    std::int64_t steps_time = 0; ///< all these steps together
    UsualValue usual_step{};
    UsualValue key_frame_distance{};
    std::uint64_t pts = 0; ///< of the last frame
    std::uint64_t dts = 0;
    std::uint64_t key_pts = 0; ///< of the last key frame

    /// The step from one frame to the next.
    struct Step {
        std::int64_t ticks = 0; ///< 0 for the first frame
        bool wraps = false;     ///< its timestamp is lower only because the clock wrapped
        bool restarts = false;  ///< the decoding timestamp falls by more than longest_fall
        bool jumps = false;     ///< it rises by more than a second
    };

    /// Takes the next frame, with its timestamps of presentation and decoding.
    Step add(std::uint64_t next_pts, std::uint64_t next_dts, bool is_key_frame);

    /// Frames a second without jumps, as a usual rate where it is close to one; 0 without a step.
    [[nodiscard]] double rate() const;

    /// The rate to encode such a video with (goodRate).
    [[nodiscard]] FrameRate good() const { return goodRate(steps, steps_time, usual_step.get()); }
};
