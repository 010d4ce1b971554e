#pragma once

#include "align/packet_buffer.h"
#include "tsinspect/section_reader.h"

#include <cstdint>
#include <vector>

/// A program table of the output: one section, with a version number of its own that goes on with
/// each change, in packets whose continuity counter goes on.
class OutputTable {
public:
    /// Sets the PID and the section; its version and checksum need not be right. True when they
    /// are not the same as before.
    bool set(std::uint32_t new_pid, std::vector<unsigned char> section);

    /// Appends the section's packets to `packets`.
    void appendTo(PacketBuffer& packets);

private:
    std::uint32_t pid = 0;
    std::vector<unsigned char> bytes; // of the section
    unsigned version = 0;
    unsigned counter = 0;
};

/// The section of a program association table with one program.
std::vector<unsigned char> associationSection(std::uint32_t transport_stream_id,
                                              std::uint32_t program_number, std::uint32_t map_pid);
