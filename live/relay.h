#pragma once

#include "align/align_stream.h"
#include "live/publisher.h"
#include "live/settings.h"
#include "process/input.h"

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

/// Passes the stream from `input` through the aligner to the descriptor `stream`, and adds to
/// `queue` the segments that ended in it, with the paths that the segmenter gives them. Runs until
/// the input ends, is silent for too long, or nobody reads any more.
void relay(const LiveSettings& settings, Input& input, int stream, SegmentQueue& queue);
