#include "live/run.h"

#include "live/leftovers.h"
#include "playlist/segment_name.h"
#include "process/messages.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

using namespace std::chrono;

namespace {

/// The segmenter beside this program, or else the one in PATH, as a child of this process.
class Segmenter {
public:
    Segmenter(const LiveSettings& settings, int stream, int lock) : process(::fork()) {
        if (process == 0) {
            ::dup2(stream, STDIN_FILENO);
            ::dup2(errorDescriptor(), STDOUT_FILENO);
            ::dup2(errorDescriptor(), STDERR_FILENO);
            ::fcntl(lock, F_SETFD, 0); // so that it is kept
            execute("--prefix=" + settings.runFolder(),
                    "--duration=" + std::to_string(settings.duration));
        }
        ::close(stream);
    }

    bool hasEnded() { return reap(WNOHANG); }

    void awaitEnd() { reap(0); }

    /// True when it has ended by itself: its files are whole.
    [[nodiscard]] bool isClean() const { return has_ended && status == 0; }

private:
    bool reap(int options) {
        has_ended = has_ended || ::waitpid(process, &status, options) != 0;
        return has_ended;
    }

    [[noreturn]] static void execute(const std::string& prefix, const std::string& duration) {
        std::error_code error;
        const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
        const std::string beside = error ? "" : self.parent_path() / "segmenter";
        for (const std::string& path : {beside, std::string("segmenter")}) {
            ::execlp(path.c_str(), "segmenter", prefix.c_str(), duration.c_str(), "--window=500",
                     "--mux_type=1", nullptr);
        }
        warn(std::string("The segmenter cannot be started: ") + std::strerror(errno) + '.');
        ::_exit(1);
    }

    pid_t process;
    int status = -1;
    bool has_ended = false;
};

/// Waits until the segmenter has finished file `number`. False when it was killed before.
bool awaitFile(const LiveSettings& settings, Segmenter& segmenter, std::uint32_t number) {
    constexpr milliseconds longest_pause(50);
    const std::string next = segmentName(settings.runFolder(), number + 1);
    const auto is_there = [&next] { return ::access(next.c_str(), F_OK) == 0; };
    for (milliseconds pause(1); !is_there() && !segmenter.hasEnded();
         pause = std::min(2 * pause, longest_pause)) {
        std::this_thread::sleep_for(pause);
    }
    return is_there() || segmenter.isClean();
}

/// Publishes `segment`, and tries again until that can be done or the run has ended. False when it
/// has.
bool publishInTime(const LiveSettings& settings, Publisher& publisher, Segmenter& segmenter,
                   FinishedSegment& segment, const SegmentQueue& queue) {
    constexpr milliseconds pause(500);
    while (!publisher.publish(segment)) {
        if (segmenter.hasEnded()) {
            return false; // it, and those behind it, are left to the next start
        }
        if (publisher.isFull() && queue.size() >= static_cast<std::size_t>(settings.listed)) {
            publisher.drop(segment); // or a medium that is full of them would stay full
            return true;
        }
        std::this_thread::sleep_for(pause);
    }
    return true;
}

/// Publishes what is in `queue` until the stream has ended. False where that was not all.
bool publishSegments(const LiveSettings& settings, Publisher& publisher, Segmenter& segmenter,
                     SegmentQueue& queue) {
    for (std::uint32_t number = 0; auto segment = queue.next(); ++number) {
        if (!awaitFile(settings, segmenter, number) ||
            !publishInTime(settings, publisher, segmenter, *segment, queue)) {
            return false;
        }
    }
    return !publisher.hasLosses();
}

} // namespace

bool publishRun(const LiveSettings& settings, Publisher& publisher, int stream, int lock,
                SegmentQueue& queue) {
    Segmenter segmenter(settings, stream, lock);
    const bool is_complete = publishSegments(settings, publisher, segmenter, queue);
    const StreamEnd end = queue.awaitEnd();
    segmenter.awaitEnd();
    if (!segmenter.isClean() || end == StreamEnd::no_reader) {
        warn("The segmenter has ended before the stream.");
    }
    if (!segmenter.isClean() || end != StreamEnd::input) {
        publishLeftovers(settings, publisher, warn);
        return false;
    }
    return is_complete && (settings.end == 0 || publisher.endStream());
}
