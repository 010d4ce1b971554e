#pragma once

#include "tsinspect/frame_rate.h"
#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <algorithm>
#include <cstdint>

/// Things of one kind, and how long they last in 90 kHz ticks.
struct Lengths {
    std::uint64_t count = 0;
    std::uint32_t first_segment = 0; ///< the segment with the first of them
    std::int64_t shortest = 0;
    std::int64_t longest = 0;

    void add(std::uint32_t segment, std::int64_t length) {
        first_segment = count == 0 ? segment : first_segment;
        shortest = count == 0 ? length : std::min(shortest, length);
        longest = count++ == 0 ? length : std::max(longest, length);
    }
};

/// How the timestamps of a video go on, from frame to frame in the order of decoding. Times are in
/// 90 kHz ticks.
struct Timeline {
    std::uint64_t frames = 0;
    std::uint64_t key_frames = 0;
    std::uint64_t reordered = 0; ///< timestamps a little lower than the one before: B-frames
    std::uint64_t steps = 0;     ///< from one frame to the next, without falls and jumps
    std::int64_t steps_time = 0; ///< all these steps together
    UsualValue usual_step{};
    UsualValue key_frame_distance{};
    std::uint64_t pts = 0; ///< of the last frame
    std::uint64_t dts = 0;
    std::uint64_t key_pts = 0; ///< of the last key frame

    /// What a frame does to the time.
    struct Step {
        std::int64_t ticks = 0; ///< 0 for the first frame
        bool wraps = false;     ///< the timestamp falls as a number, but not as time
        bool restarts = false;  ///< it falls further than it does by reordering
        bool jumps = false;     ///< it is more than a second higher than the one before
    };

    /// Takes the next frame.
    Step add(std::uint64_t next_pts, std::uint64_t next_dts, bool is_key_frame);

    /// Frames a second without jumps, as a usual rate where it is close to one; 0 without a step.
    [[nodiscard]] double rate() const;

    /// The rate to encode such video with (goodRate).
    [[nodiscard]] FrameRate good() const { return goodRate(steps, steps_time, usual_step.get()); }
};
