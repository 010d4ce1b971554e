#pragma once

#include "tsinspect/section_reader.h"
#include "tsinspect/ts.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// What an elementary stream carries, as far as its key frames are told in different ways.
enum class Codec {
    none,        ///< neither video nor sound, such as subtitles
    sound,       ///< any kind
    mpeg2_video, ///< MPEG-1 or MPEG-2 (ISO/IEC 13818-2)
    h264,        ///< ISO/IEC 14496-10
    hevc,        ///< ISO/IEC 23008-2
    other_video,
};

/// True for all kinds of video.
constexpr bool isVideo(Codec codec) { return codec > Codec::sound; }

/// A program as the program association table names it.
struct ProgramEntry {
    std::uint32_t number = 0;  ///< 1 to 65535
    std::uint32_t map_pid = 0; ///< of its program map table

    bool operator==(const ProgramEntry&) const = default;
};

/// A section of the program association table (ISO/IEC 13818-1, 2.4.4.3).
struct ProgramAssociation {
    std::uint32_t transport_stream_id = 0;
    bool is_only_section = false;         ///< there are no others
    std::vector<ProgramEntry> programs{}; ///< without the network's entry
};

/// An elementary stream of a program.
struct ElementaryStream {
    std::uint32_t type = 0; ///< stream_type (ISO/IEC 13818-1, table 2-34)
    std::uint32_t pid = 0;
    Codec codec = Codec::none;

    bool operator==(const ElementaryStream&) const = default;
};

/// A program map table (ISO/IEC 13818-1, 2.4.4.8).
struct ProgramMap {
    std::uint32_t program_number = 0;
    std::vector<ElementaryStream> streams{};
    std::vector<std::size_t> pid_fields{}; ///< where the section names PIDs, in the low 13 bits of
                                           ///< two bytes: of the clock, streams and access messages
};

/// Reads a whole section with its checksum. Nothing if it is of another table, not yet in force, or
/// if its lengths do not fit together.
std::optional<ProgramAssociation> readProgramAssociation(SectionBytes section);
std::optional<ProgramMap> readProgramMap(SectionBytes section);

/// The 13 bits of the PID, or the length, in the two bytes at `at`.
constexpr std::uint32_t pidField(SectionBytes section, std::size_t at) {
    return (std::uint32_t{section[at]} << 8U | section[at + 1]) & (pid_count - 1);
}

/// Puts `pid` there, and leaves the other bits.
constexpr void setPIDField(std::span<unsigned char> section, std::size_t at, std::uint32_t pid) {
    section[at] = static_cast<unsigned char>((section[at] & 0xE0U) | pid >> 8U);
    section[at + 1] = static_cast<unsigned char>(pid & 0xFFU);
}
