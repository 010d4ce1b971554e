#include "segmenter/segment.h"

#include "playlist/index_file.h"
#include "playlist/segment_name.h"
#include "playlist/sliding_window.h"

#include <iostream>

bool openSegment(Options& settings, std::ofstream& file, unsigned int& first, unsigned int& count) {
    file.open(segmentName(settings.prefix, count), std::ios::binary);
    ++count;
    if (!file.is_open()) {
        std::cout << "File open error! " << std::endl;
        return false;
    }
    updateSlidingWindow(settings, first, count);
    updateIndexFile(settings, first, count, false);
    return true;
}
