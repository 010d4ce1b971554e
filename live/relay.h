#pragma once

#include "align/aligner.h"
#include "live/settings.h"

#include <cstdint>

/// What is told of the stream to who publishes it, by a pipe, once all that came before has been
/// passed on to the segmenter.
struct Report {
    AlignedSegment segment{}; ///< the n-th one that is reported is in the segmenter's n-th file
    std::int64_t time = 0;    ///< when it ended, in milliseconds since 1970, UTC
    bool is_end = false;      ///< there is no segment: the stream has ended cleanly
};

/// How many reports wait in the pipe one of whose descriptors is `pipe`.
int waitingReports(int pipe);

/// Passes the stream on standard input, which signals end from now on, through the aligner to the
/// descriptor `stream`, and writes reports to the descriptor `reports`. Runs until the input ends,
/// is silent for too long, or nobody reads any more.
void relay(const LiveSettings& settings, int stream, int reports);
