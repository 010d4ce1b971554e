#include "check/stream_reader.h"

#include "tsinspect/adaptation_field.h"
#include "tsinspect/muxer.h"
#include "tsinspect/pat.h"
#include "tsinspect/pts.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

/// A longer way between two timestamps than this is a jump of the source, not time that passed.
constexpr std::int64_t jump = std::int64_t{10} * ticks_per_second;

/// A fall further than this is a jump too, and not the order of B-frames.
constexpr std::int64_t longest_fall = std::int64_t{2} * ticks_per_second;

/// The time from timestamp `from`, if there is one, to `to`; negative where it falls.
std::int64_t ticksSince(const std::optional<std::uint64_t>& from, std::uint64_t to) {
    return from ? ticksBetween(*from, to) : 0;
}

bool isJump(std::int64_t step) { return step > jump || step < -longest_fall; }

constexpr std::uint64_t ticks_per_hundredth = ticks_per_second / 100;

/// Whether the playlist, which says `duration` seconds, will misstate a segment of `length` ticks.
bool isMisstated(const SegmentFacts& segment, std::uint64_t length, std::int32_t duration) {
    const auto rounded =
        static_cast<std::int64_t>((length + ticks_per_second / 2) / ticks_per_second);
    // The first segment is short, since its cut time is 0.
    return segment.number == 0 ? rounded > duration : rounded != duration && !segment.is_put_off;
}

} // namespace

StreamReader::StreamReader(Options& settings) : settings(settings), rule(settings) {
    any_muxer.mux_type = -1;
    found.beginning.reserve(StreamFacts::beginning_size);
}

const SegmentFacts* StreamReader::take(char* packet) {
    TS header;
    std::memcpy(&header, packet, sizeof header);
    noteBytes(header, packet);
    noteContinuity(header, packet);

    const SegmentFacts* ended = rule.beginsSegment(packet) ? beginSegment() : nullptr;
    ++current->packets;
    noteTables(header, packet);
    // Only one of the two: a packet with which a segment begins is not on the PID of the video.
    const SegmentFacts* measured = noteVideo(header, packet);
    return measured != nullptr ? measured : ended;
}

const SegmentFacts* StreamReader::takeEnd() {
    return unmeasured ? complete(unmeasured) : current ? complete(current) : nullptr;
}

void StreamReader::noteBytes(const TS& header, const char* packet) {
    if (header.packet.sync != sync_byte && found.without_sync_byte++ == 0) {
        found.first_without_sync_byte = found.packets;
    }
    ++found.packets;
    if (found.beginning.size() < StreamFacts::beginning_size) {
        const std::size_t room = StreamFacts::beginning_size - found.beginning.size();
        found.beginning.append(packet, std::min<std::size_t>(room, packet_size));
    }
}

/// Counts what is missing between the last packet of this PID and this one (ISO/IEC 13818-1,
/// 2.4.3.3): the counter grows by one a packet with a payload, and one repetition is allowed.
void StreamReader::noteContinuity(const TS& header, const char* packet) {
    constexpr unsigned counter_mask = 0x0F;
    const std::uint32_t pid = packetPID(header);
    if (pid == null_pid || !hasPayload(header)) {
        return;
    }
    Continuity& last = pids[pid];
    const unsigned counter = header.packet.continuity_counter;
    const unsigned missing = (counter - last.counter - 1U) & counter_mask;
    const bool repeats = counter == last.counter && !last.is_repeated;
    if (last.is_known && missing != 0 && !repeats &&
        !readAdaptationField(header, packet).discontinuity_indicator) {
        found.lost.add(pid, missing);
    }
    last.is_repeated = last.is_known && repeats;
    last.is_known = 1;
    last.counter = counter & counter_mask;
}

void StreamReader::noteTables(const TS& header, const char* packet) {
    const std::uint32_t pid = packetPID(header);
    if (pid == pat_pid) {
        visitProgramMapPIDs(header, packet, [this](std::uint32_t pmt) { pids[pmt].is_pmt = 1; });
    }
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    if (muxer != nullptr) {
        found.cut_packets += pid == muxer->cut ? 1 : 0;
        current->has_video |= pid == muxer->video;
    }
    if (!current->has_video) {
        current->has_pat |= pid == pat_pid;
        current->has_sdt |= pid == sdt_pid;
        current->has_pmt |= pids[pid].is_pmt != 0;
    }
}

/// Returns the segment before the current one, if this packet gave it its length.
const SegmentFacts* StreamReader::noteVideo(TS& header, char* packet) {
    const int offset = syncPES(any_muxer, header, packet);
    if (!holdsPTS(offset)) {
        return nullptr;
    }
    const std::uint64_t pts = decodePTS(packet + offset);
    const std::int64_t step = ticksSince(std::exchange(last_any_pts, pts), pts);
    found.uncut_time += isJump(step) ? 0 : step;
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    if (muxer != nullptr && packetPID(header) != muxer->video) {
        found.other_video.add(packetPID(header));
        return nullptr;
    }
    if (muxer == nullptr) {
        found.other_video.add(packetPID(header));
    }
    const bool is_key_frame = readAdaptationField(header, packet).random_access_indicator;
    noteTimestamp(pts, is_key_frame);
    if (current->first_pts) {
        return nullptr;
    }
    current->first_pts = pts;
    current->has_video = true;
    current->has_key_frame = is_key_frame;
    if (unmeasured && unmeasured->first_pts && !unmeasured->has_restart) {
        if (const std::int64_t length = ticksBetween(*unmeasured->first_pts, pts); length >= 0) {
            unmeasured->length = static_cast<std::uint64_t>(length);
        }
    }
    return unmeasured ? complete(unmeasured) : nullptr;
}

void StreamReader::noteTimestamp(std::uint64_t pts, bool is_key_frame) {
    ++found.frames;
    if (last_pts) {
        noteStep(ticksBetween(*last_pts, pts), pts < *last_pts);
    }
    last_pts = pts;
    if (is_key_frame) {
        if (const std::int64_t distance = ticksSince(std::exchange(last_key_pts, pts), pts);
            distance > 0 && !isJump(distance)) {
            found.key_frame_distances.add(static_cast<std::uint64_t>(distance));
        }
    }
}

/// Takes the way from one timestamp to the next; `falls`, as numbers the second one is lower.
void StreamReader::noteStep(std::int64_t step, bool falls) {
    if (isJump(step)) {
        // The step to a segment's first timestamp is part of the length of the one before.
        SegmentFacts& segment = current->first_pts || !unmeasured ? *current : *unmeasured;
        segment.has_restart |= falls;
        current->is_put_off |= falls;
        found.restarts += falls ? 1 : 0;
        return;
    }
    const bool is_wrap = step > 0 && falls;
    current->is_put_off |= is_wrap;
    found.wraps += is_wrap ? 1 : 0;
    found.reordered += step < 0 ? 1 : 0;
    found.video_time += step;
    ++found.steps;
    if (step > 0) {
        found.frame_steps.add(static_cast<std::uint64_t>(step));
    }
}

/// Returns the segment before the one that ends here, if it has waited for a timestamp in vain.
const SegmentFacts* StreamReader::beginSegment() {
    const SegmentFacts* waited = unmeasured ? complete(unmeasured) : nullptr;
    const std::uint32_t number = current ? current->number + 1 : 0;
    unmeasured = std::exchange(current, SegmentFacts());
    current->number = number;
    found.uncut_time = 0;
    return waited;
}

/// Counts `segment` in, and empties it.
const SegmentFacts* StreamReader::complete(std::optional<SegmentFacts>& segment) {
    completed = *segment;
    segment.reset();
    ++found.segments;
    found.with_video += completed.first_pts ? 1 : 0;
    found.with_key_frame += completed.has_key_frame ? 1 : 0;
    found.with_tables += completed.first_pts && completed.has_pat && completed.has_pmt ? 1 : 0;
    if (completed.length) {
        const std::uint64_t length = *completed.length;
        found.shortest = found.measured == 0 ? length : std::min(found.shortest, length);
        found.longest = std::max(found.longest, length);
        found.lengths.add((length + ticks_per_hundredth / 2) / ticks_per_hundredth);
        found.misstated += isMisstated(completed, length, settings.duration) ? 1 : 0;
        ++found.measured;
    }
    return &completed;
}
