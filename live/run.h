#pragma once

#include "live/publisher.h"
#include "live/relay.h"
#include "live/settings.h"

/// Cuts the stream that comes from the descriptor `stream`, which is closed here, with a segmenter,
/// and publishes the segments of `queue` until all have ended. The segmenter holds back the signals
/// that this thread holds back, and keeps the descriptor `lock` open. Returns true after a clean
/// end when all was published.
bool publishRun(const LiveSettings& settings, Publisher& publisher, int stream, int lock,
                SegmentQueue& queue);
