#pragma once

#include "align/output_table.h"
#include "align/packet_buffer.h"
#include "align/programs.h"
#include "align/segment_timer.h"
#include "tsinspect/frame_reader.h"
#include "tsinspect/packet_finder.h"
#include "tsinspect/pts.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

/// The longest that segments can be asked to last, in seconds.
inline constexpr std::int32_t longest_duration = 3600;

/// How long segments of `duration` seconds wait for a key frame before any frame begins them, in
/// 90 kHz ticks.
constexpr std::int64_t longestWait(std::int32_t duration) {
    return std::min<std::int64_t>(std::int64_t{10} * duration, 60) * ticks_per_second;
}

/// A segment that has ended, as viewers will find it. Times are in 90 kHz ticks.
struct AlignedSegment {
    std::uint64_t begin = 0; ///< the presentation timestamp of its first frame
    std::int64_t length = 0; ///< to the next segment's first frame; before a jump of the timestamps
                             ///< and at the end of the stream, to the end of its own last frame
    bool follows = false;    ///< its timestamps and tracks go on from those of the one before
};

/// Makes of any transport stream one that the segmenter cuts at key frames, with muxer type 1.
///
/// On that muxer's PID of video it puts clock packets, which no player looks at. In front of a PAT
/// that is to begin a segment, they tell the segmenter a time past the cut time, and behind it the
/// time of the first frame. Tables are written anew, for one program; a stream on the clock's PID
/// is moved to a free one; all other packets are passed on as they come.
class Aligner {
public:
    /// Gets each segment that has ended, in order: the n-th call tells of the segmenter's n-th
    /// file.
    using SegmentSink = std::function<void(const AlignedSegment&)>;
    /// Gets a sentence, without a line feed, for what an operator must know, once each.
    using MessageSink = std::function<void(const std::string&)>;

    /// Segments are to last `duration` seconds, 1 to longest_duration.
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

private:
    /// What becomes of the packets on a PID.
    enum class Route : std::uint8_t { unknown, pass, main, table, drop };

    void takePacket(const char* packet);
    void takeTable(const TS& header, const char* packet);
    void takeMain(const TS& header, const char* packet);
    void noteUsed(std::uint32_t pid);
    void look();
    void settle();
    [[nodiscard]] bool isDue() const;
    [[nodiscard]] bool beginsSegment(bool is_key_frame);
    void tellOnce(bool& is_told, const std::string& sentence);
    void beginSegment();
    void reportSegment(std::int64_t length);
    void startOver();
    void plan();
    void setTables();
    void write(const char* packet, std::uint32_t pid);
    void append(const char* packet, std::uint32_t pid);
    void writeTables();

    std::int32_t duration; // in seconds
    SegmentSink on_segment;
    MessageSink on_message;
    PacketFinder finder;
    Programs programs;
    ProgramEntry program;                  // the chosen one
    std::vector<ElementaryStream> streams; // of it
    ElementaryStream main;                 // whose frames begin segments
    std::array<Route, pid_count> routes{};
    std::bitset<pid_count> used; // PIDs of packets that came
    std::uint32_t moved_pid = 0; // free, for what uses the clock's
    OutputTable association;
    OutputTable map;
    FrameReader frame; // the last one that began
    SegmentTimer timer;
    AlignedSegment segment;        // that is being written
    PacketBuffer packets;          // of the output
    std::size_t held_from = 0;     // where the frame begins that may begin a segment
    std::size_t since_frame = 0;   // bytes of output since the last one began
    bool is_holding = false;       // what comes, until that is known
    bool is_pending = false;       // the frame's beginning is still read
    bool is_timed = false;         // the frame's times are noted
    bool is_started = false;       // a segment is being written
    bool is_waiting = true;        // for a key frame to begin with: until then nothing is passed on
    bool is_discontinuity = false; // the next segment has other tracks
    bool are_tables_due = false;
    bool is_scrambled = false;
    bool has_frames = false;
    bool told_late = false;
    bool told_forced = false;
};
