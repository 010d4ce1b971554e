#pragma once

#include "tsinspect/ts.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

/// A whole section of a program table with its header and its checksum (ISO/IEC 13818-1, 2.4.4).
using SectionBytes = std::span<const unsigned char>;

/// The most bytes that a section of PAT or PMT may have (ISO/IEC 13818-1, 2.4.4.4 and 2.4.4.9).
inline constexpr std::size_t largest_section = 1024;

/// Bytes of the checksum at the end of a section.
inline constexpr std::size_t crc_size = 4;

/// The checksum of `bytes` (ISO/IEC 13818-1, annex A): 0 for a whole section with its own.
std::uint32_t sectionChecksum(SectionBytes bytes);

/// Puts together the sections that come on one PID, each of which may lie in several packets.
class SectionReader {
public:
    /// Takes that PID's next packet, the 188 bytes at `packet`, whose first four `header` holds.
    /// Calls `visit` with each section of at most 1024 bytes that ends in it and whose checksum is
    /// right.
    void take(const TS& header, const char* packet, const std::function<void(SectionBytes)>& visit);

private:
    std::span<const char> append(std::span<const char> payload);

    std::vector<unsigned char> bytes; // of the section that is being put together
    bool is_begun = false;
};
