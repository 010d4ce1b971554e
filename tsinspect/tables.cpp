#include "tsinspect/tables.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t header_size = 8; // from table_id to last_section_number

// Descriptors (ISO/IEC 13818-1, 2.6; ETSI EN 300 468, 6.1, for those of 0x40 and more).
constexpr unsigned registration = 0x05;
constexpr unsigned conditional_access = 0x09;

std::uint32_t lengthField(SectionBytes section, std::size_t at) {
    return pidField(section, at) & 0x0FFFU;
}

/// True where `section` is whole, of the table `table_id`, and in force.
bool isCurrent(SectionBytes section, unsigned table_id) {
    return section.size() >= header_size + crc_size && section[0] == table_id &&
           (section[5] & 1U) != 0; // current_next_indicator
}

/// What private data (stream_type 0x06) are, by one of their descriptors.
Codec codecOfPrivateData(SectionBytes descriptor) {
    using namespace std::string_view_literals;
    constexpr unsigned char sound_tags[] = {0x6A, 0x7A, 0x7B, 0x7C}; // AC-3, E-AC-3, DTS, AAC
    constexpr std::string_view sound_formats[] = {"Opus"sv, "AC-3"sv, "EAC3"sv, "DTS1"sv,
                                                  "DTS2"sv, "DTS3"sv, "BSSD"sv, "AC-4"sv};
    constexpr std::size_t format_size = 4;
    const unsigned tag = descriptor[0];
    if (tag == registration && descriptor.size() >= 2 + format_size) {
        const std::string format(descriptor.begin() + 2, descriptor.begin() + 2 + format_size);
        return format == "HEVC"                                           ? Codec::hevc
               : format == "AV01" || format == "VC-1" || format == "drac" ? Codec::other_video
               : std::count(std::begin(sound_formats), std::end(sound_formats), format) > 0
                   ? Codec::sound
                   : Codec::none;
    }
    return std::count(std::begin(sound_tags), std::end(sound_tags), tag) > 0 ? Codec::sound
                                                                             : Codec::none;
}

/// By stream_type: ISO/IEC 13818-1, table 2-34, and what broadcasters and discs use beside it.
Codec codecOfType(std::uint32_t type) {
    switch (type) {
    case 0x01:
    case 0x02:
        return Codec::mpeg2_video;
    case 0x1B:
        return Codec::h264;
    case 0x24:
        return Codec::hevc;
    case 0x10: // MPEG-4 Visual
    case 0x21: // JPEG 2000
    case 0x33: // VVC
    case 0x42: // AVS
    case 0xD1: // Dirac
    case 0xD2: // AVS2
    case 0xD4: // AVS3
    case 0xEA: // VC-1
        return Codec::other_video;
    case 0x03: // MPEG audio
    case 0x04:
    case 0x0F: // AAC
    case 0x11:
    case 0x1C:
    case 0x80: // LPCM
    case 0x81: // AC-3
    case 0x82: // DTS
    case 0x83: // TrueHD
    case 0x84: // E-AC-3
    case 0x85: // DTS-HD
    case 0x86:
    case 0x87: // E-AC-3
    case 0x8A: // DTS
        return Codec::sound;
    default:
        return Codec::none;
    }
}

/// Notes where the descriptors from `at` to `end` name PIDs, and what they say of private data.
/// False where their lengths do not fit.
bool readDescriptors(SectionBytes section, std::size_t at, std::size_t end, ProgramMap& map,
                     Codec& private_data) {
    constexpr std::size_t tag_and_length = 2;
    constexpr std::size_t access_pid = 4; // where CA_PID stands in its descriptor
    while (at + tag_and_length <= end) {
        const std::size_t next = at + tag_and_length + section[at + 1];
        if (next > end) {
            return false;
        }
        if (section[at] == conditional_access && at + access_pid + 2 <= next) {
            map.pid_fields.push_back(at + access_pid);
        }
        if (private_data == Codec::none) {
            private_data = codecOfPrivateData(section.subspan(at, next - at));
        }
        at = next;
    }
    return at == end;
}

} // namespace

std::optional<ProgramAssociation> readProgramAssociation(SectionBytes section) {
    constexpr unsigned table_id = 0x00;
    constexpr std::size_t entry_size = 4;
    if (!isCurrent(section, table_id)) {
        return std::nullopt;
    }
    ProgramAssociation table = {.transport_stream_id = std::uint32_t{section[3]} << 8U | section[4],
                                .version = section[5] >> 1U & 0x1FU,
                                .is_only_section = section[7] == 0};
    for (std::size_t at = header_size; at + entry_size + crc_size <= section.size();
         at += entry_size) {
        const std::uint32_t number = std::uint32_t{section[at]} << 8U | section[at + 1];
        if (number != 0) { // 0 is the network's
            table.programs.push_back({number, pidField(section, at + 2)});
        }
    }
    return table;
}

std::optional<ProgramMap> readProgramMap(SectionBytes section) {
    constexpr unsigned table_id = 0x02;
    constexpr std::size_t info_length = header_size + 2; // behind the clock's PID
    constexpr std::size_t stream_size = 5;               // without its descriptors
    constexpr std::uint32_t private_data = 0x06;
    if (!isCurrent(section, table_id) || section.size() < info_length + 2 + crc_size) {
        return std::nullopt;
    }
    ProgramMap map = {.program_number = std::uint32_t{section[3]} << 8U | section[4]};
    const std::size_t end = section.size() - crc_size;
    std::size_t at = info_length + 2 + lengthField(section, info_length);
    Codec ignored = Codec::none;
    map.pid_fields.push_back(header_size);
    if (at > end || !readDescriptors(section, info_length + 2, at, map, ignored)) {
        return std::nullopt;
    }
    while (at + stream_size <= end) {
        const std::size_t next = at + stream_size + lengthField(section, at + 3);
        const std::uint32_t type = section[at];
        Codec by_descriptors = Codec::none;
        map.pid_fields.push_back(at + 1);
        if (next > end || !readDescriptors(section, at + stream_size, next, map, by_descriptors)) {
            return std::nullopt;
        }
        map.streams.push_back({.type = type,
                               .pid = pidField(section, at + 1),
                               .codec = type == private_data ? by_descriptors : codecOfType(type)});
        at = next;
    }
    return map;
}
