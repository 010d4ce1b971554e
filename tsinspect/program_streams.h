#pragma once

#include "tsinspect/ts.h"

#include <bitset>
#include <cstdint>
#include <map>

/// The elementary streams that a stream's tables name.
class ProgramStreams {
public:
    std::map<std::uint32_t, std::uint32_t>
        types; ///< stream types (ISO/IEC 13818-1, 2.4.4.9) by PID

    /// Takes the stream's next packet, the 188 bytes at `packet`, whose first four `header` holds.
    void take(const TS& header, const char* packet);

    /// True when the program association table names `pid` as that of a program map table.
    [[nodiscard]] bool isMap(std::uint32_t pid) const { return is_map[pid]; }

private:
    std::bitset<pid_count> is_map;
};

/// What a stream of this type holds, if browsers do not play it, else null.
const char* unplayable(std::uint32_t type);
