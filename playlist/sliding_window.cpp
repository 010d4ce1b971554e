#include "playlist/sliding_window.h"

#include "playlist/segment_name.h"
#include "segmenter/options.h"

#include <cstdio>
#include <tuple>

bool updateSlidingWindow(Options& settings, unsigned int& first, unsigned int count) {
    if (settings.window == 0) {
        return false;
    }
    const auto window = static_cast<unsigned int>(settings.window);
    while (first < count && window < count - first) {
        std::ignore = std::remove(segmentName(settings.prefix, first).c_str());
        ++first;
    }
    return true;
}
