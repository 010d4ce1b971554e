#include "tsinspect/program_streams.h"

#include "tsinspect/pat.h"
#include "tsinspect/pmt.h"

void ProgramStreams::take(const TS& header, const char* packet) {
    const std::uint32_t pid = packetPID(header);
    if (pid == pat_pid) {
        visitProgramMapPIDs(header, packet, [this](std::uint32_t map) { is_map[map] = true; });
    } else if (is_map[pid]) {
        visitElementaryStreams(header, packet, [this](std::uint32_t type, std::uint32_t stream) {
            types[stream] = type;
        });
    }
}

const char* unplayable(std::uint32_t type) {
    switch (type) {
    case 0x01:
        return "MPEG-1 video";
    case 0x02:
        return "MPEG-2 video";
    case 0x03:
    case 0x04:
        return "MPEG audio, if not MP3";
    case 0x06:
        return "private data: subtitles, or sound such as G.711";
    case 0x10:
        return "MPEG-4 Visual";
    case 0x11:
        return "AAC as LATM";
    case 0x24:
        return "HEVC (a few play it)";
    case 0x81:
        return "AC-3";
    case 0x87:
        return "E-AC-3";
    default:
        return nullptr;
    }
}
