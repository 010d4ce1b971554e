#include "tsinspect/pat.h"

#include "tsinspect/section.h"

void visitProgramMapPIDs(const TS& header, const char* packet,
                         const std::function<void(std::uint32_t)>& visit) {
    constexpr std::uint32_t table_id = 0x00;
    constexpr int programs = 8; // where the first one stands
    constexpr int program_size = 4;

    const Section section = findSection(header, packet, table_id);
    for (int program = section.begin + programs; program + program_size <= section.end;
         program += program_size) {
        if (section.byte(program) != 0 || section.byte(program + 1) != 0) { // 0 is the network's
            visit(section.number(program + 2));
        }
    }
}
