#pragma once

#include "check/stream_facts.h"
#include "segmenter/cut_rule.h"
#include "segmenter/options.h"
#include "tsinspect/continuity.h"
#include "tsinspect/ts.h"

#include <cstdint>
#include <functional>
#include <optional>

/// Looks at a stream packet by packet as the segmenter does, and notes what it is like. Its size
/// is bounded by the number of PIDs, whatever the length of the stream.
class StreamReader {
public:
    using Listener = std::function<void(const SegmentFacts&)>;

    /// Reads `settings`, which must outlive the reader, at every packet, and calls `on_complete`
    /// with every segment once it is complete.
    StreamReader(Options& settings, Listener on_complete);

    /// Takes the 188 bytes of the stream's next packet.
    void take(char* packet);

    /// After the last packet: completes the segments that are left.
    void end();

    [[nodiscard]] const StreamFacts& facts() const { return found; }

private:
    void noteHeader(const TS& header, const char* packet);
    void noteTables(const TS& header, const char* packet);
    void noteVideo(TS& header, char* packet);
    bool isWatched(std::uint32_t pid);
    void noteStep(const Timeline::Step& step);
    void measure(std::uint64_t pts);
    void beginSegment();
    void complete(const SegmentFacts& segment);

    Options& settings;
    Listener on_complete;
    Options any_muxer; // its video may be on any PID
    CutRule rule;
    StreamFacts found;
    Continuity continuity;
    std::uint64_t last_cut_dts = 0;         // of the frame before the last packet on the cut PID
    std::optional<SegmentFacts> unmeasured; // ended, but the next one has no timestamp yet
    std::optional<SegmentFacts> current;
};
