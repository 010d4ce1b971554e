#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What the video timestamps in a segment file say, in ticks of the 90 kHz clock.
struct SegmentTimes {
    std::optional<std::uint64_t> first; ///< its first timestamp; nothing without any
    std::int64_t length = 0;            ///< from there to the end of its last frame
    std::uint64_t end = 0;              ///< the timestamp that is expected next
    bool has_jump = false;              ///< timestamps jump inside
};

/// The first video timestamp in the segment file at `path`, on the video PID of muxer `mux_type`
/// (Options::mux_type). Only the beginning of the file is read; nothing when none is found there.
std::optional<std::uint64_t> firstTimestamp(const std::string& path, std::int32_t mux_type);

/// Reads the whole segment file at `path`, and adds up the time that its timestamps took. A step
/// from one timestamp to the next that is longer than `longest_step` ticks or falls far back is a
/// jump and no time that passed.
SegmentTimes readTimes(const std::string& path, std::int32_t mux_type, std::int64_t longest_step);
