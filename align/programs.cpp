#include "align/programs.h"

#include <algorithm>
#include <utility>

namespace {

const ElementaryStream* findStream(const ProgramMap& map, bool (*fits)(const ElementaryStream&)) {
    const auto found = std::find_if(map.streams.begin(), map.streams.end(), fits);
    return found == map.streams.end() ? nullptr : &*found;
}

bool hasVideo(const ElementaryStream& stream) { return isVideo(stream.codec); }
bool hasSound(const ElementaryStream& stream) { return stream.codec == Codec::sound; }

} // namespace

const ElementaryStream* StreamProgram::mainStream() const {
    const ElementaryStream* video = findStream(map, hasVideo);
    return video != nullptr ? video : findStream(map, hasSound);
}

bool Programs::take(const TS& header, const char* packet) {
    bool is_new = false;
    const std::uint32_t pid = packetPID(header);
    if (pid == pat_pid) {
        association_reader.take(header, packet,
                                [&](SectionBytes section) { is_new |= takeAssociation(section); });
    }
    for (StreamProgram& program : programs) {
        if (program.entry.map_pid == pid) {
            program.reader.take(header, packet,
                                [&](SectionBytes section) { is_new |= takeMap(program, section); });
        }
    }
    return is_new;
}

bool Programs::isChoice(const StreamProgram& program) const { return program.entry == choice; }

const StreamProgram* Programs::chosen() const {
    const auto found =
        std::find_if(programs.begin(), programs.end(), [this](const StreamProgram& program) {
            return isChoice(program) && !program.section.empty();
        });
    return found == programs.end() ? nullptr : &*found;
}

std::bitset<pid_count> Programs::namedPIDs(bool of_chosen) const {
    std::bitset<pid_count> pids;
    for (const StreamProgram& program : programs) {
        if (isChoice(program) == of_chosen) {
            pids[program.entry.map_pid] = true;
            for (const std::size_t at : program.map.pid_fields) {
                pids[pidField(program.section, at)] = true;
            }
        }
    }
    pids[null_pid] = false; // it stands for a clock that is not there
    return pids;
}

std::string Programs::missing() const {
    if (association_section.empty()) {
        return "No program association table (PAT) came.";
    }
    if (programs.empty()) {
        return "The program association table (PAT) names no program.";
    }
    const bool has_map =
        std::any_of(programs.begin(), programs.end(),
                    [](const StreamProgram& program) { return !program.section.empty(); });
    return has_map ? "No program has video or sound." : "No program map table (PMT) came.";
}

bool Programs::takeAssociation(SectionBytes section) {
    constexpr std::size_t most_programs = 64; // a transport stream has some thirty
    if (std::equal(section.begin(), section.end(), association_section.begin(),
                   association_section.end())) {
        return false;
    }
    const auto table = readProgramAssociation(section);
    if (!table) {
        return false;
    }
    // Of a table with several sections, the programs of the others stay.
    std::vector<StreamProgram> before = std::exchange(programs, {});
    std::vector<ProgramEntry> entries = table->programs;
    for (const StreamProgram& program : before) {
        if (!table->is_only_section) {
            entries.push_back(program.entry);
        }
    }
    for (const ProgramEntry& entry : entries) {
        const auto has = [&entry](const StreamProgram& program) { return program.entry == entry; };
        if (programs.size() < most_programs &&
            std::none_of(programs.begin(), programs.end(), has)) {
            const auto known = std::find_if(before.begin(), before.end(), has);
            programs.push_back(known != before.end() ? std::move(*known)
                                                     : StreamProgram{.entry = entry});
        }
    }
    association_section.assign(section.begin(), section.end());
    transport_stream_id = table->transport_stream_id;
    is_map.reset();
    for (const StreamProgram& program : programs) {
        is_map[program.entry.map_pid] = true;
    }
    choose();
    return true;
}

bool Programs::takeMap(StreamProgram& program, SectionBytes section) {
    const bool is_new =
        !std::equal(section.begin(), section.end(), program.section.begin(), program.section.end());
    if (is_new) {
        auto map = readProgramMap(section);
        if (!map || map->program_number != program.entry.number) {
            return false;
        }
        program.section.assign(section.begin(), section.end());
        program.map = *std::move(map);
    }
    ++program.times;
    return choose() || is_new;
}

/// Chooses a program where none is chosen that is still there. True when that changed.
bool Programs::choose() {
    const std::optional<ProgramEntry> before = choice;
    if (std::none_of(programs.begin(), programs.end(),
                     [this](const StreamProgram& program) { return isChoice(program); })) {
        choice = findChoice();
    }
    return choice != before;
}

/// The program to be chosen, as soon as that can be told: when the tables of all that would come
/// before it are known, or when they should long have come.
std::optional<ProgramEntry> Programs::findChoice() const {
    constexpr std::uint32_t often = 3;
    const auto is_known = [](const StreamProgram& program) { return !program.section.empty(); };
    for (const auto fits : {hasVideo, hasSound}) {
        const auto found =
            std::find_if(programs.begin(), programs.end(), [fits](const StreamProgram& program) {
                return findStream(program.map, fits) != nullptr;
            });
        if (found != programs.end()) {
            const bool can_be_told =
                std::all_of(programs.begin(), fits == hasVideo ? found : programs.end(), is_known);
            return can_be_told || found->times >= often ? std::optional(found->entry)
                                                        : std::nullopt;
        }
    }
    return std::nullopt;
}
