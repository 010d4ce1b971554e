// Lists the segments FIRST to LAST, which are in the working directory, in a closing playlist, as
// one may want it after a run that was killed.
#include "playlist/index_file.h"
#include "segmenter/options.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: playlist_example FIRST LAST\n"
                     "FIRST and LAST are the numbers of segments in the working directory.\n";
        return EXIT_FAILURE;
    }
    Options settings;
    settings.playlist_name = "live.m3u8";
    const auto first = static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10));
    const auto last = static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10));
    return updateIndexFile(settings, first, last + 2, true) ? EXIT_SUCCESS : EXIT_FAILURE;
}
