#pragma once

#include "tsinspect/section_reader.h"
#include "tsinspect/tables.h"
#include "tsinspect/ts.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// A program of the stream, as far as its tables have come.
struct StreamProgram {
    ProgramEntry entry{};
    std::vector<unsigned char> section{}; ///< its program map table; empty until that has come
    ProgramMap map{};                     ///< what is in it
    std::uint32_t times = 0;              ///< that the table came
    SectionReader reader{};

    /// The stream whose frames begin segments: the first one with video, else with sound; null
    /// without either.
    [[nodiscard]] const ElementaryStream* mainStream() const;
};

/// The programs of a transport stream, of which one is chosen: the first one with video, or else
/// with sound, and that for as long as the program association table names it.
class Programs {
public:
    /// True where packets with this PID are for take().
    [[nodiscard]] bool isTable(std::uint32_t pid) const { return pid == pat_pid || is_map[pid]; }

    /// Takes a packet of a table, the 188 bytes at `packet`, whose first four `header` holds. True
    /// when the tables say something new.
    bool take(const TS& header, const char* packet);

    /// The chosen program; null before.
    [[nodiscard]] const StreamProgram* chosen() const;

    /// The number of the transport stream.
    [[nodiscard]] std::uint32_t transportStreamID() const { return transport_stream_id; }

    /// The PIDs that the tables name: of the chosen program, or else of all others.
    [[nodiscard]] std::bitset<pid_count> namedPIDs(bool of_chosen) const;

    /// Which table is missing, or that no program has video or sound, as a sentence.
    [[nodiscard]] std::string missing() const;

private:
    bool takeAssociation(SectionBytes section);
    bool takeMap(StreamProgram& program, SectionBytes section);
    bool choose();
    [[nodiscard]] bool isChoice(const StreamProgram& program) const;
    [[nodiscard]] std::optional<ProgramEntry> findChoice() const;

    SectionReader association_reader;
    std::vector<unsigned char> association_section; // the last one that was read
    std::uint32_t transport_stream_id = 0;
    std::vector<StreamProgram> programs; // in the table's order
    std::optional<ProgramEntry> choice;
    std::bitset<pid_count> is_map;
};
