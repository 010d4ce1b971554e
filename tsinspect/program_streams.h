#pragma once

#include "tsinspect/ts.h"

#include <bitset>
#include <cstdint>
#include <map>

/// The elementary streams that a transport stream's tables name (ISO/IEC 13818-1, 2.4.4): the
/// program association table says where the program map tables are, and these name the streams.
class ProgramStreams {
public:
    /// Stream types (ISO/IEC 13818-1, 2.4.4.9) by PID.
    std::map<std::uint32_t, std::uint32_t> types;

    /// Takes the stream's next packet, the 188 bytes at `packet`, whose first four `header` holds.
    void take(const TS& header, const char* packet);

    /// True when the program association table names `pid` as that of a program map table.
    [[nodiscard]] bool isMap(std::uint32_t pid) const { return is_map[pid]; }

private:
    std::bitset<pid_count> is_map;
};

/// What a stream of this type (ISO/IEC 13818-1, table 2-34) holds if browsers do not play it, or
/// null if they do.
const char* unplayable(std::uint32_t type);
