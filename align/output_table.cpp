#include "align/output_table.h"

#include "tsinspect/ts.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace {

constexpr std::size_t version_at = 5; // this byte has version_number

unsigned char low(std::uint32_t number) { return static_cast<unsigned char>(number & 0xFFU); }
unsigned char high(std::uint32_t number) { return low(number >> 8U); }

} // namespace

bool OutputTable::set(std::uint32_t new_pid, std::vector<unsigned char> section) {
    constexpr unsigned version_bits = 0x3E;
    constexpr unsigned versions = 32;
    const auto give = [&section](unsigned number) {
        section[version_at] = low((section[version_at] & ~version_bits) | number << 1U);
        const std::uint32_t crc =
            sectionChecksum(SectionBytes(section).first(section.size() - crc_size));
        auto byte = section.end();
        for (const std::uint32_t part : {crc, crc >> 8U, crc >> 16U, crc >> 24U}) {
            *--byte = low(part);
        }
    };
    give(version);
    if (new_pid == pid && section == bytes) {
        return false;
    }
    if (!bytes.empty()) {
        version = (version + 1) % versions;
        give(version);
    }
    pid = new_pid;
    bytes = std::move(section);
    return true;
}

void OutputTable::appendTo(PacketBuffer& packets) {
    constexpr unsigned unit_start = 0x40;
    constexpr unsigned payload_only = 0x10;
    for (SectionBytes rest = bytes; !rest.empty();) {
        const bool is_first = rest.size() == bytes.size();
        const unsigned char header[] = {
            sync_byte, low((is_first ? unit_start : 0U) | high(pid)), low(pid),
            low(payload_only | std::exchange(counter, (counter + 1) % 16)),
            0}; // the pointer_field: the section follows at once
        const std::size_t header_size = std::size(header) - (is_first ? 0 : 1);
        const std::size_t count = std::min(rest.size(), packet_size - header_size);
        char* packet = packets.add();
        std::fill_n(packet, packet_size, '\xFF');
        std::memcpy(packet, header, header_size);
        std::memcpy(packet + header_size, rest.data(), count);
        rest = rest.subspan(count);
    }
}

std::vector<unsigned char> associationSection(std::uint32_t transport_stream_id,
                                              std::uint32_t program_number, std::uint32_t map_pid) {
    std::vector<unsigned char> section = {0x00, 0xB0, 13}; // so many bytes follow
    const auto add = [&section](std::uint32_t number) {
        section.insert(section.end(), {high(number), low(number)});
    };
    add(transport_stream_id);
    section.insert(section.end(), {0xC1, 0, 0}); // in force, and the only section
    add(program_number);
    add(0xE000U | map_pid);
    section.resize(section.size() + crc_size);
    return section;
}
