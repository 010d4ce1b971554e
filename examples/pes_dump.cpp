// Prints the headers of every packet on standard input that begins a video PES packet, on any PID.
#include "segmenter/options.h"
#include "tsinspect/dump.h"

#include <cstring>
#include <iostream>

int main() {
    Options settings;
    settings.mux_type = -1; // no known muxer: look at every PID

    char packet[packet_size];
    while (std::cin.read(packet, packet_size)) {
        TS header;
        std::memcpy(&header, packet, sizeof header);
        const int offset = syncPES(settings, header, packet);
        if (offset >= 0 && offset <= packet_size - static_cast<int>(sizeof(PES_HEADER))) {
            PES_HEADER pes;
            std::memcpy(&pes, packet + offset, sizeof pes);
            std::cout << header.packet << pes << '\n';
        }
    }
}
