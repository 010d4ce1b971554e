#include "check/stream_reader.h"

#include "tsinspect/muxer.h"

#include <cstring>
#include <utility>

namespace {

constexpr std::int64_t second = ticks_per_second;

/// Whether the playlist, which says `duration` seconds, is wrong about a segment of `length` ticks.
bool isMisstated(const SegmentFacts& segment, std::int64_t length, std::int32_t duration) {
    const std::int64_t rounded = (length + second / 2) / second;
    // The first segment is short, since its cut time is 0.
    const bool differs = segment.number == 0 ? rounded > duration : rounded != duration;
    return differs && !segment.is_late && !segment.has_loss;
}

} // namespace

StreamReader::StreamReader(Options& settings, std::function<void(const SegmentFacts&)> on_complete)
    : settings(settings), on_complete(std::move(on_complete)), rule(settings) {}

void StreamReader::take(char* packet) {
    TS header;
    std::memcpy(&header, packet, sizeof header);
    const bool is_whole = found.sync.take(packet);
    if (rule.beginsSegment(packet)) {
        beginSegment();
    }
    ++current->packets;
    if (is_whole) {
        found.damaged += header.packet.transport_error_indicator;
        found.scrambled += header.packet.scrambling_control != 0 ? 1 : 0;
        current->has_loss |= found.continuity.take(header, packet);
        noteTables(header, packet);
        if (const auto frame = found.video.take(settings.mux_type, header, packet)) {
            noteFrame(*frame);
        }
    }
}

void StreamReader::end() {
    for (const auto& segment : {unmeasured, current}) {
        if (segment) {
            complete(*segment);
        }
    }
}

void StreamReader::noteTables(const TS& header, const char* packet) {
    const std::uint32_t pid = packetPID(header);
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    found.streams.take(header, packet);
    if (muxer != nullptr && pid == muxer->cut) {
        const std::uint64_t now = found.video.time.dts;
        const std::int64_t distance = ticksBetween(std::exchange(last_cut_dts, now), now);
        if (++found.cut_packets > 2 && distance > 0) { // in front of the first is no video yet
            found.cut_packet_distance.add(static_cast<std::uint64_t>(distance));
        }
    }
    current->has_video |= muxer != nullptr && pid == muxer->video;
    if (!current->has_video) {
        current->has_pat |= pid == pat_pid;
        current->has_sdt |= pid == sdt_pid;
        current->has_pmt |= found.streams.isMap(pid);
    }
}

void StreamReader::noteFrame(const Video::Frame& frame) {
    noteStep(frame.step);
    if (!found.video.is_elsewhere && !current->first_pts) {
        current->first_pts = frame.pts;
        current->has_key_frame = frame.is_key_frame;
        measure(frame.pts);
    }
}

void StreamReader::noteStep(const Timeline::Step& step) {
    constexpr std::int64_t longest_pause = 10 * second; // a longer one is a jump of the clock
    current->is_late |= step.wraps || step.restarts || step.jumps;
    found.uncut_time += step.restarts || step.ticks > longest_pause ? 0 : step.ticks;
    if (step.restarts || step.jumps) {
        // The step to a segment's first timestamp is part of the length of the one before.
        SegmentFacts& segment = current->first_pts || !unmeasured ? *current : *unmeasured;
        (step.restarts ? found.restarts : found.jumps).add(segment.number, step.ticks);
        segment.has_restart |= step.restarts;
        segment.is_late = true;
    }
}

/// Completes the segment in front of the current one, which has its first timestamp, `pts`.
void StreamReader::measure(std::uint64_t pts) {
    if (unmeasured) {
        unmeasured->has_loss |= current->has_loss; // of the packet that should have ended it
        const std::int64_t length = ticksBetween(unmeasured->first_pts.value_or(pts), pts);
        if (unmeasured->first_pts && !unmeasured->has_restart && length >= 0) {
            unmeasured->length = length;
        }
        complete(*std::exchange(unmeasured, std::nullopt));
    }
}

void StreamReader::beginSegment() {
    if (unmeasured) { // no timestamp came that would measure it
        complete(*unmeasured);
    }
    const std::uint32_t number = current ? current->number + 1 : 0;
    unmeasured = std::exchange(current, SegmentFacts{.number = number});
    found.uncut_time = 0;
}

void StreamReader::complete(const SegmentFacts& segment) {
    ++found.segments;
    if (segment.first_pts && segment.number > 0 && !segment.has_loss) {
        ++found.judged;
        found.keyless += segment.has_key_frame ? 0 : 1;
        found.tableless += segment.has_pat && segment.has_pmt ? 0 : 1;
    }
    if (segment.length) {
        found.measured.add(segment.number, *segment.length);
        if (isMisstated(segment, *segment.length, settings.duration)) {
            found.misstated.add(segment.number, *segment.length);
        }
    }
    on_complete(segment);
}
