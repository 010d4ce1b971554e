#pragma once

#include "tsinspect/adaptation_field.h"

#include <array>
#include <cstdint>
#include <utility>

/// Counts missing packets by the continuity counters (ISO/IEC 13818-1, 2.4.3.3). On each PID, the
/// counter grows by one with every packet that has a payload; such a packet may be sent again.
class Continuity {
public:
    Continuity() { last.fill(unknown); }

    std::uint64_t lost = 0; ///< at least so many packets are missing: the counter has four bits

    /// Takes the stream's next packet, the 188 bytes at `packet`, whose first four `header` holds.
    /// True if packets of its PID are missing before it.
    bool take(const TS& header, const char* packet) {
        const std::uint32_t pid = packetPID(header);
        if (pid == null_pid || !hasPayload(header)) {
            return false;
        }
        const std::uint8_t counter = header.packet.continuity_counter;
        const std::uint8_t before = std::exchange(last[pid], counter);
        const bool may_differ = before == unknown || counter == before ||
                                readAdaptationField(header, packet).discontinuity_indicator;
        const unsigned missing = may_differ ? 0 : (counter - before - 1U) % 16;
        lost += missing;
        return missing > 0;
    }

private:
    static constexpr std::uint8_t unknown = 16;
    std::array<std::uint8_t, pid_count> last{}; // on each PID
};
