// usage: stream SEGMENTS [live]
// Writes a stream on standard output that gives SEGMENTS segments, of two packets each: with
// --duration=0, an SDT packet, and a video packet whose timestamp is one second up. With "live",
// for segmenter-live --duration=1, a key frame and another one; PAT and PMT come first.
#include "tests/packets.h"
#include "tsinspect/pts.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    if (argc < 2) {
        return EXIT_FAILURE;
    }
    const bool is_live = argc > 2;
    std::cout << (is_live ? pat() + pmtOf({'\x1B'}) : "");
    std::uint64_t pts = 0;
    for (int segment = std::stoi(argv[1]); segment > 0; --segment) {
        pts += ticks_per_second;
        std::cout << (is_live ? key(pts % pts_modulus) +
                                    delta((pts + ticks_per_second / 2) % pts_modulus)
                              : table() + video(pts));
    }
}
