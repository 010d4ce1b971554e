#pragma once

#include "tsinspect/pts.h"
#include "tsinspect/usual_value.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

/// A segment as players will find it. Times are in 90 kHz ticks.
struct SegmentFacts {
    std::uint32_t number = 0;
    std::uint64_t packets = 0;
    std::optional<std::uint64_t> first_pts{}; ///< of its first video PES start
    std::optional<std::int64_t> length{};     ///< from there to the first one of the next segment
    bool has_pat = false;                     ///< the tables in front of its first video packet
    bool has_pmt = false;
    bool has_sdt = false;
    bool has_key_frame = false; ///< its first video PES start is marked as a key frame
    bool has_video = false;     ///< a video packet has come
    bool has_loss = false;      ///< packets are missing in it, or right in front of it
    bool has_restart = false;   ///< the source restarted between its first_pts and the next one's
    bool is_late = false;       ///< a wrap, a restart or a jump puts off its end
};

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

/// The video of a stream: that on the muxer's PID, or, while nothing comes there, that on the first
/// PID where video begins. Times are in 90 kHz ticks, between frames in the order of decoding.
struct VideoFacts {
    std::uint32_t pid = 0;
    std::uint64_t frames = 0;     ///< video PES starts
    std::uint64_t key_frames = 0; ///< those that are marked as such
    std::uint64_t unmarked = 0;   ///< those that only look like one
    std::uint64_t reordered = 0;  ///< timestamps a little lower than the one before: B-frames
    Lengths restarts{};           ///< timestamps much lower than the one before
    Lengths jumps{};              ///< timestamps more than a second higher than the one before
    std::uint64_t steps = 0;      ///< from one frame to the next, without restarts and jumps
    std::int64_t steps_time = 0;  ///< all these steps together
    UsualValue usual_step{};
    UsualValue key_frame_distance{};
    UsualValue cut_packet_distance{};
};

/// What was found in a stream so far.
struct StreamFacts {
    std::uint64_t packets = 0;
    std::uint64_t without_sync_byte = 0;
    std::uint64_t first_without_sync_byte = 0; ///< its number, from 0 on
    std::string misplaced{};     ///< what begins with that packet, at most misplaced_size bytes
    std::uint64_t damaged = 0;   ///< with the transport error indicator
    std::uint64_t scrambled = 0; ///< with scrambling bits
    std::uint64_t cut_packets = 0;
    std::map<std::uint32_t, std::uint64_t> lost{};        ///< missing packets, by PID
    std::map<std::uint32_t, std::uint64_t> other_video{}; ///< frames not on the muxer's PID, by PID
    std::map<std::uint32_t, std::uint32_t> streams{}; ///< types in the program map table, by PID
    bool has_odd_video = false;                       ///< there is video that syncPES passes over

    VideoFacts video{};
    bool is_elsewhere = false; ///< that video is not on the muxer's PID
    std::int64_t uncut_time =
        0; ///< since the last cut, in ticks, without jumps of over ten seconds

    std::uint64_t segments = 0;  ///< complete, or ended with the stream
    std::uint64_t judged = 0;    ///< for their starts: not the first, and none with lost packets
    std::uint64_t keyless = 0;   ///< of these, those that do not start with a key frame
    std::uint64_t tableless = 0; ///< of these, those without PAT and PMT in front of the video
    Lengths measured{};          ///< segments that have a length
    Lengths misstated{};         ///< of these, those that the playlist will misstate

    static constexpr std::size_t misplaced_size = 4096;
};
