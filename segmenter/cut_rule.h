#pragma once

#include "segmenter/options.h"
#include "tsinspect/muxer.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <cstdint>
#include <cstring>
#include <utility>

/// Decides at which packets of a stream segments begin.
///
/// Once the timestamp of the latest video PES packet is past the cut time, the next packet on the
/// muxer's cut PID begins a segment, and the cut time moves the duration setting past that
/// timestamp. A timestamp lower than the one before moves the cut time too, without a cut. The
/// first cut time is 0, which the first timestamp has usually passed: the first segment is short.
class CutRule {
public:
    /// Reads `settings`, which must outlive the rule, at every packet.
    explicit CutRule(Options& settings) : settings(settings) {}

    /// Takes the 188 bytes of the stream's next packet; true when a segment begins with it, as one
    /// does with the first packet.
    bool beginsSegment(char* packet) {
        TS header;
        std::memcpy(&header, packet, sizeof header);
        const int offset = syncPES(settings, header, packet);
        const std::uint64_t pts = holdsPTS(offset) ? decodePTS(packet + offset) : last_pts;

        const bool cuts = pts > next_cut && isCutPacket(header);
        if (cuts || pts < last_pts) {
            next_cut = cutTime(pts);
        }
        last_pts = pts;
        return std::exchange(is_first, false) || cuts;
    }

private:
    [[nodiscard]] bool isCutPacket(const TS& header) const {
        const MuxerPIDs* muxer = findMuxer(settings.mux_type);
        return muxer != nullptr && packetPID(header) == muxer->cut;
    }

    /// The duration setting after `pts`, modulo 2^64.
    [[nodiscard]] std::uint64_t cutTime(std::uint64_t pts) const {
        const std::int64_t interval = std::int64_t{settings.duration} * ticks_per_second;
        return pts + static_cast<std::uint64_t>(interval);
    }

    Options& settings;
    std::uint64_t last_pts = 0; // of the packet before
    std::uint64_t next_cut = 0; // a segment may begin once the timestamp is greater
    bool is_first = true;
};
