#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

/// A segment that has ended, as viewers will find it. Times are in 90 kHz ticks.
struct AlignedSegment {
    std::uint64_t begin = 0; ///< the presentation timestamp of its first frame
    std::int64_t length = 0; ///< to the next segment's first frame; before a jump of the timestamps
                             ///< and at the end of the stream, to the end of its own last frame
    bool follows = false;    ///< its timestamps and tracks go on from those of the one before
};

/// Makes of any transport stream one that the segmenter cuts at key frames, with muxer type 1.
class Aligner {
public:
    /// Gets each segment that has ended, in order: the n-th call tells of the segmenter's n-th file.
    using SegmentSink = std::function<void(const AlignedSegment&)>;
    /// Gets a sentence, without a line feed, for what an operator must know, once each.
    using MessageSink = std::function<void(const std::string&)>;

    /// Segments are to last `duration` seconds, 1 to 3600.
    Aligner(std::int32_t duration, SegmentSink on_segment, MessageSink on_message);

    /// Takes the stream's next bytes, any number of them. What is to be passed on is added to
    /// output().
    void take(std::span<const char> bytes);

    /// After the last bytes: adds to output() what was held back, and reports the last segment.
    void end();

    /// Whole packets for the segmenter, until clearOutput().
    [[nodiscard]] std::span<const char> output() const;
    void clearOutput();

    /// Why nothing was passed on so far, as a sentence that names what is missing; empty if
    /// something was.
    [[nodiscard]] std::string missing() const;
};
