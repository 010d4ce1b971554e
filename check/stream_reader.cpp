#include "check/stream_reader.h"

#include "tsinspect/muxer.h"

#include <algorithm>
#include <cstring>
#include <utility>

StreamReader::StreamReader(Options& settings, std::function<void(const SegmentFacts&)> on_complete)
    : settings(settings), on_complete(std::move(on_complete)), rule(settings),
      aligner(
          std::clamp(settings.duration, 1, longest_duration), [](const AlignedSegment&) {},
          [this](const std::string& message) {
              found.complaints += (found.complaints.empty() ? "" : " ") + message;
          }) {}

const StreamFacts& StreamReader::facts() {
    found.missing = aligner.missing();
    return found;
}

void StreamReader::take(char* packet) {
    TS header;
    std::memcpy(&header, packet, sizeof header);
    const std::uint32_t pid = packetPID(header);
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    if (rule.beginsSegment(packet)) {
        beginSegment();
    }
    ++current->packets;
    ++found.packets;
    aligner.take({packet, packet_size});
    aligner.clearOutput();
    const bool is_synced = static_cast<unsigned char>(*packet) == sync_byte;
    found.unsynced += is_synced ? 0 : 1;
    if (!is_synced || found.areNoise()) {
        return;
    }
    const bool is_scrambled = header.packet.scrambling_control != 0;
    found.unusable += header.packet.transport_error_indicator != 0 || is_scrambled ? 1 : 0;
    found.timed += holdsPTS(syncPES(settings, header, packet)) ? 1 : 0;
    found.cut_packets += muxer != nullptr && pid == muxer->cut ? 1 : 0;
    current->is_odd |= found.continuity.take(header, packet);
    noteTables(header, packet);
    if (found.main.codec != Codec::none && pid == found.main.pid && !is_scrambled) {
        takeMain(header, packet);
    }
}

void StreamReader::end() {
    settle();
    aligner.end();
    for (const auto& segment : {unmeasured, current}) {
        if (segment) {
            complete(*segment);
        }
    }
}

void StreamReader::noteTables(const TS& header, const char* packet) {
    const std::uint32_t pid = packetPID(header);
    const bool is_table = found.programs.isTable(pid);
    if (is_table && found.programs.take(header, packet)) {
        const auto* program = found.programs.chosen();
        const ElementaryStream* stream = program == nullptr ? nullptr : program->mainStream();
        if (stream != nullptr && *stream != found.main) {
            settle();
            found.main = *stream;
            frame = FrameReader(stream->codec);
        }
    }
    if (!current->first_pts) {
        current->has_pat |= pid == pat_pid;
        current->has_pmt |= is_table && pid != pat_pid;
        current->has_sdt |= pid == sdt_pid;
    }
}

void StreamReader::takeMain(const TS& header, const char* packet) {
    if (header.packet.payload_unit_start_indicator != 0) {
        is_pending = true; // one that was pending goes on: its units may come in a PES packet each
        frame.begin(header, packet);
    } else if (is_pending) {
        frame.add(header, packet);
    }
    if (!frame.isUndecided()) {
        settle();
    }
}

/// Notes the frame whose beginning is still read, by what is known of it now.
void StreamReader::settle() {
    if (!std::exchange(is_pending, false) || !frame.hasTimes()) {
        return;
    }
    frame.giveUp();
    const Codec codec = found.main.codec;
    const std::int64_t step = found.timeline.add(frame.pts(), frame.dts());
    if (Timeline::isBreak(step)) {
        // The step to a segment's first frame is part of the length of the one before.
        SegmentFacts& segment = current->first_pts || !unmeasured ? *current : *unmeasured;
        (step < 0 ? found.restarts : found.jumps).add(segment.number, step);
        segment.is_odd = current->is_odd = true;
    } else {
        found.uncut_time += step;
    }
    if (frame.isKeyFrame()) {
        const bool has_sets = codec == Codec::h264 || codec == Codec::hevc;
        found.timeline.noteKeyFrame();
        ++found.key_frames;
        found.bare_key_frames += has_sets && !frame.hasParameters() ? 1 : 0;
    }
    if (current->first_pts) {
        return;
    }
    current->first_pts = frame.pts();
    current->has_key_frame = frame.isKeyFrame();
    if (unmeasured) {
        const std::uint64_t begin = unmeasured->first_pts.value_or(frame.pts());
        const std::int64_t length = ticksBetween(begin, frame.pts());
        if (unmeasured->first_pts && length >= 0) {
            unmeasured->length = length;
        }
        // The packet that should have ended it may be lost; a wrap of the clock ends it late.
        unmeasured->is_odd |= current->is_odd || frame.pts() < begin;
        complete(*std::exchange(unmeasured, std::nullopt));
    }
}

void StreamReader::beginSegment() {
    settle();         // a frame that is still read began in the segment before
    if (unmeasured) { // no frame came that would measure it
        complete(*unmeasured);
    }
    const std::uint32_t number = current ? current->number + 1 : 0;
    unmeasured = std::exchange(current, SegmentFacts{.number = number});
    found.uncut_time = 0;
}

void StreamReader::complete(const SegmentFacts& segment) {
    constexpr std::int64_t second = ticks_per_second;
    const bool is_judged = !segment.is_odd && segment.first_pts;
    ++found.segments;
    if (is_judged && segment.number > 0) {
        ++found.judged;
        found.keyless += segment.has_key_frame ? 0 : 1;
        found.tableless += segment.has_pat && segment.has_pmt ? 0 : 1;
    }
    if (segment.length) {
        found.measured.add(segment.number, *segment.length);
        // The playlist has whole seconds. The first segment is short, since its cut time is 0.
        const std::int64_t more = (*segment.length + second / 2) / second - settings.duration;
        if (is_judged && (segment.number == 0 ? more > 0 : more != 0)) {
            found.misstated.add(segment.number, *segment.length);
        }
    }
    on_complete(segment);
}
