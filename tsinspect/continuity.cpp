#include "tsinspect/continuity.h"

#include "tsinspect/adaptation_field.h"

bool Continuity::take(const TS& header, const char* packet) {
    constexpr unsigned counter_mask = 0x0F;
    const std::uint32_t pid = packetPID(header);
    if (pid == null_pid || !hasPayload(header)) {
        return false;
    }
    Counter& last = counters[pid];
    const unsigned value = header.packet.continuity_counter;
    const unsigned missing = (value - last.value - 1U) & counter_mask;
    const bool repeats = value == last.value && !last.is_repeated;
    const bool counts = last.is_known != 0 && !repeats &&
                        !readAdaptationField(header, packet).discontinuity_indicator;
    last = {.value = static_cast<std::uint8_t>(value & counter_mask),
            .is_known = 1,
            .is_repeated = static_cast<std::uint8_t>(last.is_known != 0 && repeats ? 1 : 0)};
    lost += counts ? missing : 0;
    return counts && missing > 0;
}
