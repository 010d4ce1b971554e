#pragma once

#include "check/stream_facts.h"
#include "segmenter/cut_rule.h"
#include "segmenter/options.h"
#include "tsinspect/ts.h"

#include <array>
#include <cstdint>
#include <optional>

/// Looks at a stream packet by packet as the segmenter does, and notes what it is like. Its size
/// does not depend on the stream.
class StreamReader {
public:
    /// Reads `settings`, which must outlive the reader, at every packet.
    explicit StreamReader(Options& settings);

    /// Takes the 188 bytes of the stream's next packet. Returns the segment that became complete
    /// with it, valid until the next call, or null.
    const SegmentFacts* take(char* packet);

    /// After the last packet: the next segment that the stream's end completes, or null.
    const SegmentFacts* takeEnd();

    [[nodiscard]] const StreamFacts& facts() const { return found; }

private:
    struct Continuity {
        std::uint8_t counter : 4; // of the last packet with a payload
        std::uint8_t is_known : 1;
        std::uint8_t is_repeated : 1; // that packet came twice
        std::uint8_t is_pmt : 1;      // the PAT names this PID
    };

    void noteBytes(const TS& header, const char* packet);
    void noteContinuity(const TS& header, const char* packet);
    void noteTables(const TS& header, const char* packet);
    const SegmentFacts* noteVideo(TS& header, char* packet);
    void noteTimestamp(std::uint64_t pts, bool is_key_frame);
    void noteStep(std::int64_t step, bool falls);
    const SegmentFacts* beginSegment();
    const SegmentFacts* complete(std::optional<SegmentFacts>& segment);

    Options& settings;
    Options any_muxer; // its video may be on any PID
    CutRule rule;
    StreamFacts found;
    std::array<Continuity, pid_count> pids{};
    std::optional<std::uint64_t> last_any_pts; // of a video PES start on any PID
    std::optional<std::uint64_t> last_pts;
    std::optional<std::uint64_t> last_key_pts;
    std::optional<SegmentFacts> unmeasured; // ended, but the next one has no timestamp yet
    std::optional<SegmentFacts> current;
    SegmentFacts completed;
};
