#pragma once

#include "tsinspect/ts.h"

#include <cstdint>

/// A section of a program table (ISO/IEC 13818-1, 2.4.4) as far as it lies in one packet.
struct Section {
    const char* packet = nullptr; ///< whose bytes the offsets count
    int begin = 0;                ///< where its table_id stands
    int end = 0; ///< where its checksum stands, or the packet ends; `begin` if there is none

    [[nodiscard]] std::uint32_t byte(int offset) const {
        return static_cast<unsigned char>(packet[offset]);
    }

    /// The 13 low bits of two bytes: a PID, or a length and a bit.
    [[nodiscard]] std::uint32_t number(int offset) const {
        return (byte(offset) << 8U | byte(offset + 1)) & 0x1FFFU;
    }
};

/// Finds the section of the table `table_id` that begins in the 188 bytes at `packet`, whose first
/// four `header` holds. Returns an empty one if none begins there, or not with its whole header.
Section findSection(const TS& header, const char* packet, std::uint32_t table_id);
