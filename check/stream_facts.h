#pragma once

#include "check/pid_counts.h"
#include "tsinspect/usual_value.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// A segment as players will find it. Times are in 90 kHz ticks.
struct SegmentFacts {
    std::uint32_t number = 0;
    std::uint64_t packets = 0;
    std::optional<std::uint64_t> first_pts; ///< of its first video PES start
    std::optional<std::uint64_t> length;    ///< from there to the first one of the next segment
    bool has_pat = false;                   ///< the tables in front of its first video packet
    bool has_pmt = false;
    bool has_sdt = false;
    bool has_key_frame = false; ///< its first video PES start is a key frame
    bool has_video = false;     ///< a video packet has come
    bool has_restart = false;   ///< the source began anew from its first_pts to the next one's
    bool is_put_off = false;    ///< the clock or the source began anew in it: its end comes late
};

/// What was found in a stream so far. "Video" is what the segmenter takes for it: PES packets on
/// the video PID of the muxer. Times are in 90 kHz ticks.
struct StreamFacts {
    // Packets.
    std::uint64_t packets = 0;
    std::uint64_t without_sync_byte = 0;
    std::uint64_t first_without_sync_byte = 0; ///< its number, from 0 on
    std::uint64_t cut_packets = 0;             ///< on the cut PID
    PIDCounts lost;                            ///< missing by their continuity counters
    std::string beginning;                     ///< the stream's first bytes, at most beginning_size
    static constexpr std::size_t beginning_size = 4096;

    // Video PES starts and their timestamps.
    std::uint64_t frames = 0;
    PIDCounts other_video;          ///< on PIDs that are not the muxer's, or of no known muxer
    std::uint64_t reordered = 0;    ///< timestamps a little lower than the one before, as B-frames
                                    ///< make them
    std::uint64_t restarts = 0;     ///< timestamps much lower than the one before
    std::uint64_t wraps = 0;        ///< where the 33-bit clock began anew, none of these
    std::uint64_t steps = 0;        ///< from one timestamp to the next, without jumps of the source
    std::int64_t video_time = 0;    ///< all these steps together
    std::int64_t uncut_time = 0;    ///< from the last cut on, by video on any PID, without jumps
    UsualValue frame_steps;         ///< from one timestamp to the next
    UsualValue key_frame_distances; ///< from one key frame to the next

    // Segments, complete or ended with the stream.
    std::uint64_t segments = 0;
    std::uint64_t with_video = 0;     ///< these are looked at for their beginnings
    std::uint64_t with_key_frame = 0; ///< at the start
    std::uint64_t with_tables = 0;    ///< PAT and PMT in front of the video
    std::uint64_t measured = 0;       ///< those that have a length
    std::uint64_t misstated = 0;      ///< of these, those that the playlist will misstate
    std::uint64_t shortest = 0;       ///< of the measured ones
    std::uint64_t longest = 0;
    UsualValue lengths; ///< in hundredths of a second
};

/// True where so many sync bytes are missing that nothing else can be said of the stream.
bool isNoise(const StreamFacts& facts);

/// Rates of the NTSC family are 24, 30 and 60 frames in so many seconds.
inline constexpr double ntsc = 1.001;

/// Frames a second, 0 where there are too few: one of the usual rates where it is close to one.
double frameRate(const StreamFacts& facts);
