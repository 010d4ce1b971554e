#pragma once

#include "tsinspect/ts.h"

#include <cstdint>
#include <functional>

/// Calls `visit` with the stream type and the PID of each elementary stream in the program map
/// section (ISO/IEC 13818-1, 2.4.4.8) that begins in the 188 bytes at `packet`, whose first four
/// `header` holds. Streams that lie in a later packet are passed over, and so are packets in which
/// no such section begins.
void visitElementaryStreams(
    const TS& header, const char* packet,
    const std::function<void(std::uint32_t type, std::uint32_t pid)>& visit);
