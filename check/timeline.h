#pragma once

#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <cstdint>
#include <optional>
#include <utility>

/// What the timestamps of a stream (ISO/IEC 13818-1, 2.4.3.7) say about its frames, taken in the
/// order in which they are decoded. Times are in 90 kHz ticks.
class Timeline {
public:
    std::uint64_t frames = 0;
    std::uint64_t reordered = 0; ///< timestamps a little lower than the one before: B-frames
    std::int64_t time = 0;       ///< that they are shown, without restarts and jumps
    UsualValue key_frame_distance{};

    /// Takes the next frame, with its timestamps of presentation and decoding. Returns the step of
    /// the latter from the frame before; 0 for the first one.
    std::int64_t add(std::uint64_t next_pts, std::uint64_t next_dts) {
        const std::uint64_t last_pts = std::exchange(pts, next_pts);
        const std::int64_t ticks = ticksBetween(std::exchange(dts, next_dts), next_dts);
        const bool is_first = frames++ == 0;
        if (is_first || isBreak(ticks)) {
            highest_pts = pts;
            return is_first ? 0 : ticks;
        }
        ++steps;
        reordered += ticksBetween(last_pts, pts) < 0 ? 1 : 0;
        if (const std::int64_t rise = ticksBetween(highest_pts, pts); rise > 0) {
            time += rise;
            highest_pts = pts;
        }
        if (since_key_frame) {
            *since_key_frame += ticks;
        }
        return ticks;
    }

    /// Whether the source restarts with such a step, or the timestamps jump forward.
    static constexpr bool isBreak(std::int64_t step) {
        return step < -longest_fall || step > std::int64_t{ticks_per_second};
    }

    /// Says that the last frame is a key frame.
    void noteKeyFrame() {
        if (since_key_frame && *since_key_frame > 0) {
            key_frame_distance.add(static_cast<std::uint64_t>(*since_key_frame));
        }
        since_key_frame = 0;
    }

    /// Frames a second; 0 where that cannot be told.
    [[nodiscard]] double rate() const {
        const double clock = static_cast<double>(steps) * ticks_per_second;
        return time > 0 ? clock / static_cast<double>(time) : 0;
    }

private:
    std::uint64_t steps = 0; // from one frame to the next, without restarts and jumps
    std::uint64_t pts = 0;   // of the last frame
    std::uint64_t dts = 0;
    std::uint64_t highest_pts = 0;
    std::optional<std::int64_t> since_key_frame; // without restarts and jumps
};
