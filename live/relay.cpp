#include "live/relay.h"

#include "align/aligner.h"
#include "playlist/segment_name.h"
#include "process/messages.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <tuple>

void SegmentQueue::add(const FinishedSegment& segment) {
    const std::lock_guard lock(mutex);
    segments.push_back(segment);
    changed.notify_one();
}

void SegmentQueue::end(StreamEnd how) {
    const std::lock_guard lock(mutex);
    ended = how;
    changed.notify_one();
}

std::optional<FinishedSegment> SegmentQueue::next() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return ended || !segments.empty(); });
    if (segments.empty()) {
        return std::nullopt;
    }
    FinishedSegment segment = segments.front();
    segments.pop_front();
    return segment;
}

std::size_t SegmentQueue::size() const {
    const std::lock_guard lock(mutex);
    return segments.size();
}

StreamEnd SegmentQueue::awaitEnd() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return ended.has_value(); });
    return *ended;
}

void relay(const LiveSettings& settings, Input& input, int stream, SegmentQueue& queue) {
    using namespace std::chrono;
    constexpr std::size_t most_waiting = 50; // fewer than the files that the segmenter keeps
    // While the medium is busy, the stream waits in pipes as large as anyone may have: in both
    // together, a second of 16 Mbit/s.
    for (const int pipe : {STDIN_FILENO, stream}) {
        std::ignore = ::fcntl(pipe, F_SETPIPE_SZ, 1U << 20U);
    }
    const auto add = [&, number = 0U](const AlignedSegment& ended) mutable {
        const auto now = system_clock::now().time_since_epoch();
        queue.add({.path = segmentName(settings.runFolder(), number++),
                   .length = ended.length,
                   .follows = ended.follows,
                   .written = duration_cast<milliseconds>(now).count()});
    };
    Aligner aligner(settings.duration, add, warn);
    queue.end(alignStream(input, aligner, stream, warn, settings.timeout,
                          [&queue] { return queue.size() > most_waiting; }));
}
