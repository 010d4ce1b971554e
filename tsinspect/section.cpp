#include "tsinspect/section.h"

#include "tsinspect/adaptation_field.h"

#include <algorithm>

Section findSection(const TS& header, const char* packet, std::uint32_t table_id) {
    constexpr int header_size = 8;
    constexpr int counted_from = 3; // bytes in front of those that section_length counts
    constexpr int crc_size = 4;

    Section section = {.packet = packet};
    const int payload = payloadOffset(header, packet);
    if (header.packet.payload_unit_start_indicator == 0 || payload >= packet_size) {
        return section;
    }
    const int begin = payload + 1 + static_cast<int>(section.byte(payload)); // the pointer_field
    if (begin + header_size > packet_size || section.byte(begin) != table_id) {
        return section;
    }
    const int length = static_cast<int>(section.number(begin + 1) & 0x0FFFU);
    section.begin = begin;
    section.end = std::min(begin + counted_from + length - crc_size, packet_size);
    return section;
}
