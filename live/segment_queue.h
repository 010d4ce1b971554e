#pragma once

#include "align/align_stream.h"
#include "live/publisher.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

/// The segments of a run, on their way from the thread that reads the stream to the one that
/// publishes them.
class SegmentQueue {
public:
    void add(const FinishedSegment& segment) {
        const std::lock_guard lock(mutex);
        segments.push_back(segment);
        changed.notify_one();
    }

    void end(StreamEnd how) {
        const std::lock_guard lock(mutex);
        ended = how;
        changed.notify_one();
    }

    /// Takes the first one out, or waits for it; nothing after the last.
    std::optional<FinishedSegment> next() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return ended || !segments.empty(); });
        if (segments.empty()) {
            return std::nullopt;
        }
        FinishedSegment segment = segments.front();
        segments.pop_front();
        return segment;
    }

    /// How many have not been taken out.
    [[nodiscard]] std::size_t size() const {
        const std::lock_guard lock(mutex);
        return segments.size();
    }

    /// What ended the stream, after a wait for that.
    StreamEnd awaitEnd() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return ended.has_value(); });
        return *ended;
    }

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<FinishedSegment> segments;
    std::optional<StreamEnd> ended;
};
