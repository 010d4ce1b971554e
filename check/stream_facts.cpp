#include "check/stream_facts.h"

#include "tsinspect/pts.h"

double frameRate(const StreamFacts& facts) {
    if (facts.frames < 2 || facts.video_time <= 0) {
        return 0;
    }
    const double step = facts.falls == 0 ? static_cast<double>(facts.frame_steps.get())
                                         : static_cast<double>(facts.video_time) /
                                               static_cast<double>(facts.frames - 1);
    return ticks_per_second / step;
}
