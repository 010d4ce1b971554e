#pragma once

#include "live/publisher.h"
#include "live/settings.h"
#include "process/input.h"

/// Publishes what the last run left, and then the stream that comes from `input`, with a segmenter
/// that keeps the descriptor `lock` open, until both have ended. The stream is read in this thread,
/// and published in another one, so that a slow medium does not hold it up. Returns true after a
/// clean end when all was published.
bool publishRun(const LiveSettings& settings, Publisher& publisher, Input& input, int lock);
