#pragma once

#include "live/publisher.h"
#include "live/settings.h"

/// Cuts the stream that comes from the descriptor `stream` with a segmenter, and publishes its
/// files as the reports from the descriptor `reports` say, until all have ended. The segmenter
/// ignores the signals that this process ignores, and keeps the descriptor `lock` open. Returns
/// true after a clean end when all was published.
bool publishRun(const LiveSettings& settings, Publisher& publisher, int stream, int reports,
                int lock);
