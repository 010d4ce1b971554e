#include "tsinspect/section_reader.h"

#include "tsinspect/adaptation_field.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::size_t length_end = 3; // bytes up to the end of section_length, which it leaves out

/// The checksums of the single bytes.
constexpr auto byte_checksums = [] {
    constexpr std::uint32_t polynomial = 0x04C11DB7;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t value = byte << 24U;
        for (int bit = 0; bit < 8; ++bit) {
            value = value << 1U ^ ((value & 0x80000000U) != 0 ? polynomial : 0);
        }
        table[byte] = value;
    }
    return table;
}();

/// The size of the section that begins with `bytes`, of which there are at least three.
std::size_t sectionSize(SectionBytes bytes) {
    return length_end + ((bytes[1] & 0x0FU) << 8U | bytes[2]);
}

} // namespace

std::uint32_t sectionChecksum(SectionBytes bytes) {
    std::uint32_t value = 0xFFFFFFFF;
    for (const unsigned char byte : bytes) {
        value = value << 8U ^ byte_checksums[(value >> 24U ^ byte) & 0xFFU];
    }
    return value;
}

/// Adds to the section as much of `payload` as belongs to it. Returns the rest.
std::span<const char> SectionReader::append(std::span<const char> payload) {
    const auto add = [this, &payload](std::size_t size) {
        const std::size_t count =
            std::min(payload.size(), size > bytes.size() ? size - bytes.size() : 0);
        bytes.insert(bytes.end(), payload.begin(),
                     payload.begin() + static_cast<std::ptrdiff_t>(count));
        payload = payload.subspan(count);
    };
    add(length_end);
    if (bytes.size() >= length_end) {
        add(sectionSize(bytes));
    }
    return payload;
}

void SectionReader::take(const TS& header, const char* packet,
                         const std::function<void(SectionBytes)>& visit) {
    constexpr char stuffing = '\xFF'; // where a table_id would stand
    const int offset = payloadOffset(header, packet);
    if (offset >= packet_size) {
        return;
    }
    std::span<const char> payload(packet + offset, packet + packet_size);
    const auto endSection = [this, &visit] {
        if (is_begun && bytes.size() >= length_end && bytes.size() == sectionSize(bytes)) {
            if (bytes.size() <= largest_section && sectionChecksum(bytes) == 0) {
                visit(bytes);
            }
            is_begun = false;
        }
    };
    if (header.packet.payload_unit_start_indicator != 0) {
        const std::size_t pointer = static_cast<unsigned char>(payload[0]);
        payload = payload.subspan(1);
        if (pointer > payload.size()) {
            is_begun = false;
            return;
        }
        if (is_begun) {
            append(payload.first(pointer));
            endSection();
        }
        payload = payload.subspan(pointer);
        is_begun = false;
    } else if (!is_begun) {
        return;
    }
    while (!payload.empty() && (is_begun || payload[0] != stuffing)) {
        if (!is_begun) {
            bytes.clear();
            is_begun = true;
        }
        payload = append(payload);
        endSection();
    }
}
