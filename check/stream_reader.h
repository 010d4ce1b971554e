#pragma once

#include "segmenter/cut_rule.h"
#include "segmenter/options.h"
#include "tsinspect/continuity.h"
#include "tsinspect/lengths.h"
#include "tsinspect/packet_size.h"
#include "tsinspect/program_streams.h"
#include "tsinspect/usual_value.h"
#include "tsinspect/video.h"

#include <cstdint>
#include <functional>
#include <optional>

/// A segment as players will find it. Times are in 90 kHz ticks.
struct SegmentFacts {
    std::uint32_t number = 0;
    std::uint64_t packets = 0;
    std::optional<std::uint64_t> first_pts{}; ///< of its first video PES start
    std::optional<std::int64_t> length{};     ///< from there to the first one of the next segment
    bool has_pat = false;                     ///< the tables before its first video packet
    bool has_pmt = false;
    bool has_sdt = false;
    bool has_key_frame = false; ///< its first video PES start is marked as a key frame
    bool has_video = false;     ///< a video packet has come
    bool has_loss = false;      ///< packets are missing in it, or where it begins or ends
    bool has_restart = false;   ///< the source restarted between its first_pts and the next one's
    bool is_late = false;       ///< a wrap, a restart or a jump delays its end
};

/// What was found in a stream so far. Times are in 90 kHz ticks.
struct StreamFacts {
    SyncBytes sync{};
    std::uint64_t damaged = 0;   ///< packets with the transport error indicator
    std::uint64_t scrambled = 0; ///< packets with scrambling bits
    Continuity continuity{};
    ProgramStreams streams{};
    Video video{};
    Lengths restarts{}; ///< timestamps more than two seconds lower than the one before
    Lengths jumps{};    ///< timestamps more than a second higher than the one before
    std::uint64_t cut_packets = 0;
    UsualValue cut_packet_distance{};
    std::int64_t uncut_time = 0; ///< since the last cut, without jumps of over ten seconds

    std::uint64_t segments = 0;  ///< complete, or ended with the stream
    std::uint64_t judged = 0;    ///< by their starts: all but the first and those with lost packets
    std::uint64_t keyless = 0;   ///< of these, those that do not start with a key frame
    std::uint64_t tableless = 0; ///< of these, those without PAT and PMT before the video
    Lengths measured{};          ///< segments that have a length
    Lengths misstated{};         ///< of these, those that the playlist will get wrong
};

/// Looks at a stream packet by packet as the segmenter does, and notes what it is like. Its memory
/// is bounded by the number of PIDs, however long the stream is.
class StreamReader {
public:
    /// Reads `settings`, which must outlive the reader, at every packet, and calls `on_complete`
    /// with every segment once it is complete.
    StreamReader(Options& settings, std::function<void(const SegmentFacts&)> on_complete);

    /// Takes the 188 bytes of the stream's next packet.
    void take(char* packet);

    /// After the last packet: completes the segments that are left.
    void end();

    [[nodiscard]] const StreamFacts& facts() const { return found; }

private:
    void noteTables(const TS& header, const char* packet);
    void noteFrame(const Video::Frame& frame);
    void noteStep(const Timeline::Step& step);
    void measure(std::uint64_t pts);
    void beginSegment();
    void complete(const SegmentFacts& segment);

    Options& settings;
    std::function<void(const SegmentFacts&)> on_complete;
    CutRule rule;
    StreamFacts found;
    std::uint64_t last_cut_dts = 0;         // of the frame before the last packet on the cut PID
    std::optional<SegmentFacts> unmeasured; // ended, but the next one has no timestamp yet
    std::optional<SegmentFacts> current;
};
