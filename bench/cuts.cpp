// usage: cuts WINDOW SEGMENTS CUTS
// Makes CUTS cuts in the working directory as a run does that has opened SEGMENTS segments before,
// so that the instructions of a cut can be counted at any length of a run.
#include "segmenter/segment.h"

#include <cstdlib>
#include <string>

int main(int argc, char** argv) {
    if (argc != 4) {
        return EXIT_FAILURE;
    }
    Options settings;
    settings.playlist_name = "live.m3u8";
    settings.window = std::stoi(argv[1]);
    auto count = static_cast<unsigned int>(std::stoi(argv[2]));
    unsigned int first =
        settings.window == 0 ? 0 : count - static_cast<unsigned int>(settings.window);

    SegmentFile file;
    for (int cuts = std::stoi(argv[3]); cuts > 0; --cuts) {
        if (!openSegment(settings, file, first, count)) {
            return EXIT_FAILURE;
        }
        file.close();
    }
}
