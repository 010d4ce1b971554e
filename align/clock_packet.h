#pragma once

#include "align/packet_buffer.h"
#include "tsinspect/muxer.h"

#include <cstdint>

/// The muxer type with which the segmenter reads the output, and its PID of timestamps.
inline constexpr std::int32_t aligned_mux_type = 1;
inline constexpr std::uint32_t clock_pid = findMuxer(aligned_mux_type)->video;
static_assert(findMuxer(aligned_mux_type)->cut == pat_pid);

/// Appends to `packets` a packet from which the segmenter, with muxer type 1, reads `time` in ticks
/// of 90 kHz, 0 to 2^33 - 1.
///
/// It has no payload: the bytes in which syncPES finds a timestamp are private data of its
/// adaptation field (ISO/IEC 13818-1, 2.4.3.4), which players pass over.
void appendClockPacket(PacketBuffer& packets, std::uint64_t time);
