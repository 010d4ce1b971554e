#pragma once

#include "tsinspect/ts.h"

#include <array>
#include <cstdint>

/// Counts missing packets by the continuity counters (ISO/IEC 13818-1, 2.4.3.3). On each PID, the
/// counter grows by one with every packet that has a payload; such a packet may be sent twice.
class Continuity {
public:
    std::uint64_t lost = 0; ///< at least so many packets are missing: the counter has four bits

    /// Takes the stream's next packet, the 188 bytes at `packet`, whose first four `header` holds.
    /// Returns true if packets of its PID are missing before it.
    bool take(const TS& header, const char* packet);

private:
    struct Counter {
        std::uint8_t value : 4; // of the last packet with a payload
        std::uint8_t is_known : 1;
        std::uint8_t is_repeated : 1; // that packet came twice
    };
    std::array<Counter, pid_count> counters{};
};
