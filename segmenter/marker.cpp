#include "segmenter/marker.h"

#include "playlist/segment_name.h"

#include <cstdlib>
#include <string>
#include <tuple>

namespace {

constexpr const char* marker_path = SEGMENTER_MARKER; // each program of the build names its own

/// Runs `command`; what comes of it is nobody's concern.
void runShell(const std::string& command) { std::ignore = std::system(command.c_str()); }

} // namespace

void removeMarker() { runShell(std::string("rm ") + marker_path); }

void writeMarker(unsigned int last) {
    runShell(segmentName("echo /www/hls_vod/", last) + " > " + marker_path);
}
