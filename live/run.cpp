#include "live/run.h"

#include "align/align_stream.h"
#include "live/segment_queue.h"
#include "playlist/segment_name.h"
#include "process/messages.h"
#include "process/signals.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>

namespace fs = std::filesystem;
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
            execute("--prefix=" + settings.runFolder() + '/',
                    "--duration=" + std::to_string(settings.duration));
        }
        ::close(stream);
    }

    bool hasEnded() { return reap(WNOHANG); }

    /// True when it has ended by itself, after a wait for its end: its files are whole.
    bool isClean() { return reap(0) && status == 0; }

private:
    bool reap(int options) {
        return has_ended = has_ended || ::waitpid(process, &status, options) != 0;
    }

    [[noreturn]] static void execute(const std::string& prefix, const std::string& duration) {
        std::error_code error;
        const auto self = fs::read_symlink("/proc/self/exe", error);
        const std::string beside = error ? "" : self.parent_path() / "segmenter";
        for (const std::string& path : {beside, std::string("segmenter")}) {
            ::execlp(path.c_str(), path.c_str(), prefix.c_str(), duration.c_str(), "--window=500",
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
    const std::string next = segmentName(settings.runFolder() + '/', number + 1);
    const auto is_there = [&next] { return ::access(next.c_str(), F_OK) == 0; };
    for (milliseconds pause(1); !is_there() && !segmenter.hasEnded();
         pause = std::min(2 * pause, longest_pause)) {
        std::this_thread::sleep_for(pause);
    }
    return is_there() || segmenter.isClean();
}

/// Publishes `segment`, and tries again until that can be done or the run has ended. False when it
/// has: the segment, and those behind it, are left to the next start. On a full medium it gives up
/// some of those that wait, or a medium that is full of them would stay full.
bool publishInTime(const LiveSettings& settings, Publisher& publisher, Segmenter& segmenter,
                   FinishedSegment& segment, const SegmentQueue& queue) {
    constexpr milliseconds pause(500);
    const auto most_waiting = static_cast<std::size_t>(settings.listed);
    bool has_ended = segmenter.hasEnded();
    while (!publisher.publish(segment, !has_ended && queue.size() >= most_waiting)) {
        if (has_ended) {
            return false;
        }
        std::this_thread::sleep_for(pause);
        has_ended = segmenter.hasEnded();
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

/// Reads `input`, and passes it on to the segmenter as `stream`. Segments go to `queue` with the
/// paths that the segmenter gives them.
void readStream(const LiveSettings& settings, Input& input, int stream, SegmentQueue& queue) {
    constexpr std::size_t most_waiting = 50; // fewer than the files that the segmenter keeps
    // While the medium is busy, the stream waits in pipes as large as anyone may have: in both
    // together, a second of 16 Mbit/s.
    for (const int pipe : {STDIN_FILENO, stream}) {
        std::ignore = ::fcntl(pipe, F_SETPIPE_SZ, 1U << 20U);
    }
    const auto add = [&, number = 0U](const AlignedSegment& ended) mutable {
        const auto now = system_clock::now().time_since_epoch();
        queue.add({.path = segmentName(settings.runFolder() + '/', number++),
                   .length = ended.length,
                   .follows = ended.follows,
                   .written = duration_cast<milliseconds>(now).count()});
    };
    Aligner aligner(settings.duration, add, warn);
    queue.end(alignStream(input, aligner, stream, warn, settings.timeout,
                          [&queue] { return queue.size() > most_waiting; }));
}

/// Publishes what the last run left, and makes the private folder anew. False, after a warning,
/// where that fails.
bool clear(const LiveSettings& settings, Publisher& publisher) {
    if (!publishLeftovers(settings, publisher, warn)) {
        warn("What the last run left cannot be published, so no run begins.");
        return false;
    }
    constexpr mode_t private_mode = 0700; // no server shows what is not finished
    std::error_code error;
    fs::remove_all(settings.runFolder(), error);
    if (!error && ::mkdir(settings.runFolder().c_str(), private_mode) != 0) {
        error.assign(errno, std::generic_category());
    }
    if (error) {
        warn(settings.runFolder() + " cannot be made anew: " + error.message() + '.');
    }
    return !error;
}

/// Cuts the stream that comes from the descriptor `stream` with a segmenter, and publishes the
/// segments of `queue` until all have ended. Returns true after a clean end when all was published.
bool publishStream(const LiveSettings& settings, Publisher& publisher, int stream, int lock,
                   SegmentQueue& queue) {
    Segmenter segmenter(settings, stream, lock);
    const bool is_complete = publishSegments(settings, publisher, segmenter, queue);
    const StreamEnd end = queue.awaitEnd();
    if (!segmenter.isClean() || end == StreamEnd::no_reader) {
        warn("The segmenter has ended before the stream.");
    }
    if (!segmenter.isClean() || end != StreamEnd::input) {
        publishLeftovers(settings, publisher, warn);
        return false;
    }
    return is_complete && (settings.end == 0 || publisher.endStream());
}

} // namespace

bool publishRun(const LiveSettings& settings, Publisher& publisher, Input& input, int lock) {
    std::array<int, 2> stream{};
    if (::pipe2(stream.data(), O_CLOEXEC) != 0) {
        warn(std::string("A pipe cannot be made: ") + std::strerror(errno) + '.');
        return false;
    }
    SegmentQueue queue;
    auto published = std::async(std::launch::async, [&] {
        holdBackEndingSignals(); // the end of the stream ends it, and its segmenter
        if (clear(settings, publisher)) {
            return publishStream(settings, publisher, stream[0], lock, queue);
        }
        ::close(stream[0]); // nobody reads the stream
        return false;
    });
    readStream(settings, input, stream[1], queue);
    ::close(stream[1]);
    return published.get();
}
