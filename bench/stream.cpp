// usage: stream SEGMENTS
// Writes a stream on standard output that gives SEGMENTS segments, of two packets each, with
// --duration=0: an SDT packet, and a video packet whose timestamp is one second up.
#include "tests/packets.h"
#include "tsinspect/pts.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 2) {
        return EXIT_FAILURE;
    }
    std::uint64_t pts = 0;
    for (int segment = std::stoi(argv[1]); segment > 0; --segment) {
        pts += ticks_per_second;
        std::cout << table() << video(pts);
    }
}
