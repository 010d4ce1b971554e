#pragma once

#include "tsinspect/timeline.h"
#include "tsinspect/ts.h"

#include <cstdint>
#include <optional>

/// Follows the video of a transport stream by its PES packets (ISO/IEC 13818-1, 2.4.3.6): the video
/// on the muxer's PID, or, as long as there is none, that on the first PID where video begins.
struct Video {
    std::uint32_t pid = 0;
    bool is_elsewhere = false;  ///< `pid` is not the muxer's PID
    bool has_odd_id = false;    ///< a video stream id came that syncPES passes over, 0xE1 to 0xEF
    std::uint64_t unmarked = 0; ///< frames that look like key frames, but are not marked as such
    Timeline time{};

    /// A frame that begins.
    struct Frame {
        std::uint64_t pts;   ///< its presentation timestamp, in 90 kHz ticks
        bool is_key_frame;   ///< it is marked with the random access indicator
        Timeline::Step step; ///< from the frame before
    };

    /// Takes the stream's next packet, the 188 bytes at `packet`, whose first four `header` holds.
    /// Returns the frame of the video that begins in it, if any. `mux_type` is the muxer's; for an
    /// unknown one, `is_elsewhere` stays false.
    std::optional<Frame> take(std::int32_t mux_type, TS& header, char* packet);
};
