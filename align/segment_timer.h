#pragma once

#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <cstdint>

/// Measures the segment that is being written, by the timestamps of its frames. All times are in
/// 90 kHz ticks.
class SegmentTimer {
public:
    /// Takes the timestamps of the next frame. One that is decoded more than two seconds before the
    /// last one, or more than ten after it, does not go on from there: they jump.
    void take(std::uint64_t pts, std::uint64_t dts);

    /// Says that what comes next does not go on from the last frame.
    void breakOff();

    /// Begins a segment with the frame that was taken last.
    void beginSegment();

    /// Says that the frame that was taken last is a key frame.
    void noteKeyFrame() { since_key_frame = 0; }

    /// From the segment's first frame to the last one that was taken, without the time of jumps.
    [[nodiscard]] std::int64_t elapsed() const;

    /// From the segment's first frame to the end of the one that is shown last.
    [[nodiscard]] std::int64_t length() const;

    /// From the last key frame, or from the first frame of all, to the last one that was taken.
    [[nodiscard]] std::int64_t sinceKeyFrame() const { return since_key_frame; }

    /// True where the timestamps jumped since the segment began.
    [[nodiscard]] bool hasJump() const { return has_jump; }

private:
    UsualValue steps; // from one decoding timestamp to the next
    std::uint64_t last_pts = 0;
    std::uint64_t last_dts = 0;
    std::uint64_t begin = 0;   // of the segment, or of its part since the last jump
    std::uint64_t highest = 0; // presentation timestamp since then
    std::int64_t length_before = 0;
    std::int64_t since_key_frame = 0;
    bool is_going_on = false; // there is a last frame that the next one may follow
    bool has_jump = false;
};
