#include "tsinspect/pat.h"

#include "tsinspect/adaptation_field.h"

#include <algorithm>

void visitProgramMapPIDs(const TS& header, const char* packet,
                         const std::function<void(std::uint32_t)>& visit) {
    constexpr std::uint32_t table_id = 0x00;
    constexpr int section_header_size = 8; // up to the first program
    constexpr int counted_from = 3;        // bytes in front of those that section_length counts
    constexpr int crc_size = 4;
    constexpr int program_size = 4;

    const auto byte = [packet](int i) -> std::uint32_t {
        return static_cast<unsigned char>(packet[i]);
    };
    const auto number = [byte](int i) { return (byte(i) << 8U | byte(i + 1)) & 0x1FFFU; };

    const int payload = payloadOffset(header, packet);
    if (header.packet.payload_unit_start_indicator == 0 || payload >= packet_size) {
        return;
    }
    const int section = payload + 1 + static_cast<int>(byte(payload)); // behind the pointer_field
    if (section + section_header_size > packet_size || byte(section) != table_id) {
        return;
    }
    const int length = static_cast<int>(number(section + 1) & 0x0FFFU);
    const int end = std::min(section + counted_from + length - crc_size, packet_size);
    for (int program = section + section_header_size; program + program_size <= end;
         program += program_size) {
        if (byte(program) != 0 || byte(program + 1) != 0) { // program 0 is the network's table
            visit(number(program + 2));
        }
    }
}
