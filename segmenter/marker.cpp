#include "segmenter/marker.h"

#include "playlist/segment_name.h"

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <tuple>

namespace {

constexpr const char* marker_path = SEGMENTER_MARKER; // each program of the build names its own

/// Runs `command`. Its exit status is not looked at: nothing depends on it.
void runShell(const std::string& command) { std::ignore = std::system(command.c_str()); }

} // namespace

void removeMarker() {
    // system() ignores INT while the command runs, so a child calls it: the handler of this process
    // still notices the signal.
    const pid_t child = ::fork();
    if (child <= 0) {
        runShell(std::string("rm ") + marker_path);
    }
    if (child == 0) {
        ::_exit(0);
    }
    std::ignore = ::waitpid(child, nullptr, 0);
}

void writeMarker(unsigned int last) {
    runShell(segmentName("echo /www/hls_vod/", last) + " > " + marker_path);
}
