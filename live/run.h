#pragma once

#include "live/publisher.h"
#include "live/settings.h"
#include "process/input.h"

/// Publishes the segments of a run that did not end cleanly: files that have an address but are not
/// listed, and those in the private folder. They are cut at the first packet without its sync byte,
/// and measured by their timestamps; `warn` is told of those that are dropped. Returns false where
/// one could not be published: it and those behind it are still there.
bool publishLeftovers(const LiveSettings& settings, Publisher& publisher,
                      const Publisher::Tell& warn);

/// Publishes what the last run left, and then the stream that comes from `input`, with a segmenter
/// that keeps the descriptor `lock` open, until both have ended. The stream is read in this thread,
/// and published in another one, so that a slow medium does not hold it up. Returns true after a
/// clean end when all was published.
bool publishRun(const LiveSettings& settings, Publisher& publisher, Input& input, int lock);
