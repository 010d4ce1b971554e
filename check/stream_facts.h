#pragma once

#include "tsinspect/packet_size.h"
#include "tsinspect/program_streams.h"
#include "tsinspect/timeline.h"

#include <cstdint>
#include <map>
#include <optional>

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
    bool has_loss = false;      ///< packets are missing in it, or where it begins or ends
    bool has_restart = false;   ///< the source restarted between its first_pts and the next one's
    bool is_late = false;       ///< a wrap, a restart or a jump puts off its end
};

/// What was found in a stream so far. Its video is that on the muxer's PID, or, while nothing comes
/// there, that on the first PID where video begins. Times are in 90 kHz ticks.
struct StreamFacts {
    SyncBytes sync{};
    std::uint64_t damaged = 0;                     ///< packets with the transport error indicator
    std::uint64_t scrambled = 0;                   ///< packets with scrambling bits
    std::map<std::uint32_t, std::uint64_t> lost{}; ///< packets that are missing, by PID
    ProgramStreams streams{};

    std::uint32_t video_pid = 0;
    bool is_elsewhere = false; ///< that is not the muxer's PID
    Timeline video{};
    std::uint64_t unmarked = 0; ///< frames that look like a key frame, and are not marked as one
    bool has_odd_video = false; ///< there is video that syncPES passes over
    std::map<std::uint32_t, std::uint64_t> other_video{}; ///< frames not on the muxer's PID, by PID
    Lengths restarts{};                                   ///< timestamps that fall far
    Lengths jumps{}; ///< timestamps more than a second higher than the one before
    std::uint64_t cut_packets = 0;
    UsualValue cut_packet_distance{};
    std::int64_t uncut_time = 0; ///< since the last cut, without jumps of over ten seconds

    std::uint64_t segments = 0;  ///< complete, or ended with the stream
    std::uint64_t judged = 0;    ///< for their starts: not the first, and none with lost packets
    std::uint64_t keyless = 0;   ///< of these, those that do not start with a key frame
    std::uint64_t tableless = 0; ///< of these, those without PAT and PMT in front of the video
    Lengths measured{};          ///< segments that have a length
    Lengths misstated{};         ///< of these, those that the playlist will misstate
};
