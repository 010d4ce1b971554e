#pragma once

#include "tsinspect/ts.h"

#include <cstdint>

/// The decoding timestamp, in 90 kHz ticks, of the PES header that begins at `offset` in the 188
/// bytes at `packet`: its presentation timestamp `pts`, unless the packet holds another.
std::uint64_t decodeDTS(const char* packet, int offset, std::uint64_t pts);

/// True where a sequence parameter set or an IDR slice of H.264 stands behind the PES header that
/// begins at `offset` in the 188 bytes at `packet`, as it does in key frames.
bool looksLikeKeyFrame(const char* packet, int offset);

/// True where a video PES packet begins in the 188 bytes at `packet`, whose first four `header`
/// holds, that syncPES passes over: its stream id is one of 0xE1 to 0xEF.
bool hasOtherStreamId(const TS& header, const char* packet);
