// usage: stream SEGMENTS
// Writes a stream on standard output that gives SEGMENTS segments, of two packets each, with
// --duration=0: an SDT packet, and a video packet whose timestamp is one second up.
#include "tsinspect/pts.h"

#include <array>
#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        return EXIT_FAILURE;
    }
    std::array<char, packet_size> table{0x47, 0x40, 0x11, 0x10};
    std::array<char, packet_size> video{0x47,   0x41, 0, 0x10,   0,      0, 1,
                                        '\xE0', 0,    0, '\x80', '\x80', 5};
    std::uint64_t pts = 0;
    for (int segment = std::stoi(argv[1]); segment > 0; --segment) {
        pts += ticks_per_second;
        video[13] = static_cast<char>((pts >> 29U & 0x0EU) | 0x21U);
        video[14] = static_cast<char>(pts >> 22U);
        video[15] = static_cast<char>(pts >> 14U | 1U);
        video[16] = static_cast<char>(pts >> 7U);
        video[17] = static_cast<char>(pts << 1U | 1U);
        std::cout.write(table.data(), packet_size).write(video.data(), packet_size);
    }
}
