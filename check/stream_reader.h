#pragma once

#include "align/aligner.h"
#include "check/continuity.h"
#include "check/text.h"
#include "check/timeline.h"
#include "segmenter/cut_rule.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

/// A segment as players will find it.
struct SegmentFacts {
    std::uint32_t number = 0;
    std::uint64_t packets = 0;
    std::optional<std::uint64_t> first_pts{}; ///< of its first frame, in 90 kHz ticks
    std::optional<std::int64_t> length{};     ///< from there to the first one of the next segment
    bool has_pat = false;                     ///< the tables in front of its first frame
    bool has_pmt = false;
    bool has_sdt = false;
    bool has_key_frame = false; ///< its first frame is one
    bool is_odd = false;        ///< packets are missing, or timestamps wrap, restart or jump, in it
                                ///< or where it begins or ends: it is not judged
};

/// What was found in a stream so far. Times are in 90 kHz ticks.
struct StreamFacts {
    std::uint64_t packets = 0;  ///< of 188 bytes, as the segmenter reads them
    std::uint64_t unsynced = 0; ///< of these, those without a sync byte
    std::uint64_t unusable = 0; ///< packets with the transport error indicator, or scrambled
    Continuity continuity{};

    Programs programs{};
    ElementaryStream main{}; ///< the first video, or else sound; no codec where there is none
    Timeline timeline{};     ///< of its frames
    std::uint64_t key_frames = 0;
    std::uint64_t bare_key_frames = 0; ///< of these, those without their parameter sets
    Lengths restarts{};                ///< steps of timestamps back, by more than two seconds
    Lengths jumps{};                   ///< steps of more than a second

    std::uint64_t timed = 0;       ///< packets in which the segmenter finds a timestamp
    std::uint64_t cut_packets = 0; ///< packets with which a segment may begin
    std::int64_t uncut_time = 0;   ///< since the last cut, without restarts and jumps
    std::string missing{};         ///< why segmenter-align can make nothing of the stream, if so
    std::string complaints{};      ///< what that says of the key frames

    std::uint64_t segments = 0;  ///< complete, or ended with the stream
    std::uint64_t judged = 0;    ///< by their starts: all but the first, and odd ones
    std::uint64_t keyless = 0;   ///< of these, those that do not start with a key frame
    std::uint64_t tableless = 0; ///< of these, those without PAT and PMT in front of the frames
    Lengths measured{};          ///< segments that have a length
    Lengths misstated{};         ///< of these, those that the playlist will get wrong

    /// True where hardly anything can have been read correctly.
    [[nodiscard]] bool areNoise() const { return unsynced * 2 >= packets; }
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

    const StreamFacts& facts(); ///< of what came so far

private:
    void noteTables(const TS& header, const char* packet);
    void takeMain(const TS& header, const char* packet);
    void settle();
    void beginSegment();
    void complete(const SegmentFacts& segment);

    Options& settings;
    std::function<void(const SegmentFacts&)> on_complete;
    CutRule rule;
    Aligner aligner; // shows what can be repaired
    StreamFacts found;
    FrameReader frame;                      // the last one that began
    bool is_pending = false;                // its beginning is still read
    std::optional<SegmentFacts> unmeasured; // ended, but the next one has no timestamp yet
    std::optional<SegmentFacts> current;
};
