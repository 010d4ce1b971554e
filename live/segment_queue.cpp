#include "live/segment_queue.h"

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
