#pragma once

#include "tsinspect/ts.h"

#include <cstdint>
#include <functional>

/// Calls `visit` with the PID of the program map table of each program in the program association
/// section (ISO/IEC 13818-1, 2.4.4.3) that begins in the 188 bytes at `packet`, whose first four
/// `header` holds. Programs that lie in a later packet are passed over, and so are packets in which
/// no such section begins.
void visitProgramMapPIDs(const TS& header, const char* packet,
                         const std::function<void(std::uint32_t)>& visit);
