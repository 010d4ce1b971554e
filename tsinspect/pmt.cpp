#include "tsinspect/pmt.h"

#include "tsinspect/section.h"

void visitElementaryStreams(
    const TS& header, const char* packet,
    const std::function<void(std::uint32_t type, std::uint32_t pid)>& visit) {
    constexpr std::uint32_t table_id = 0x02;
    constexpr int info_length = 10;        // the descriptors of the program follow it
    constexpr int stream_size = 5;         // without its descriptors
    constexpr std::uint32_t size = 0x0FFF; // the bits of a length

    const Section section = findSection(header, packet, table_id);
    if (section.begin + info_length + 2 > section.end) {
        return;
    }
    int stream = section.begin + info_length + 2 +
                 static_cast<int>(section.number(section.begin + info_length) & size);
    while (stream + stream_size <= section.end) {
        visit(section.byte(stream), section.number(stream + 1));
        stream += stream_size + static_cast<int>(section.number(stream + 3) & size);
    }
}
