#pragma once

#include "segmenter/options.h"
#include "segmenter/segment_file.h"

/// Opens `file`, which is not open, as segment number `count`, then moves the sliding window and
/// rewrites the playlist of the finished segments.
///
/// Raises `count` in any case; `first`, the oldest segment kept, moves with the window. Returns
/// false, after a line on standard output, when the file could not be created; window and playlist
/// are then left as they were.
bool openSegment(Options& settings, SegmentFile& file, unsigned int& first, unsigned int& count);
