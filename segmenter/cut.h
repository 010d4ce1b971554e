#pragma once

#include "segmenter/options.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <cstdint>

/// True when a segment may begin with the packet that `header` belongs to: FFmpeg's SDT,
/// GStreamer's PAT (ISO/IEC 13818-1, 2.4.4.3; ETSI EN 300 468, 5.1.3), nothing for a muxer that is
/// not known.
constexpr bool isCutPacket(const Options& settings, const TS& header) {
    constexpr std::uint32_t sdt_pid = 0x0011;
    constexpr std::uint32_t pat_pid = 0x0000;
    switch (settings.mux_type) {
    case mux_ffmpeg:
        return packetPID(header) == sdt_pid;
    case mux_gst:
        return packetPID(header) == pat_pid;
    default:
        return false;
    }
}

/// The cut time that follows from `pts`, in 90 kHz ticks: the duration setting later, modulo 2^64.
constexpr std::uint64_t cutTime(const Options& settings, std::uint64_t pts) {
    const std::int64_t interval = std::int64_t{settings.duration} * ticks_per_second;
    return pts + static_cast<std::uint64_t>(interval);
}
