#include "segmenter/segment.h"

#include "playlist/index_file.h"
#include "playlist/segment_name.h"
#include "playlist/sliding_window.h"

#include <iostream>

bool openSegment(Options& settings, SegmentFile& file, unsigned int& first, unsigned int& count) {
    const bool is_open = file.open(segmentName(settings.prefix, count));
    ++count;
    if (!is_open) {
        std::cout << "File open error! " << std::endl;
        return false;
    }
    updateSlidingWindow(settings, first, count);
    updateIndexFile(settings, first, count, false);
    return true;
}
