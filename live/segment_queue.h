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
    void add(const FinishedSegment& segment);
    void end(StreamEnd how);

    /// Takes the first one out, or waits for it; nothing after the last.
    std::optional<FinishedSegment> next();

    /// How many have not been taken out.
    [[nodiscard]] std::size_t size() const;

    /// What ended the stream, after a wait for that.
    StreamEnd awaitEnd();

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<FinishedSegment> segments;
    std::optional<StreamEnd> ended;
};
