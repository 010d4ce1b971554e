#pragma once

#include "check/findings.h"
#include "check/stream_facts.h"
#include "segmenter/options.h"

#include <ostream>
#include <span>

/// Writes the heading of the rows and flushes `out`.
void writeHeading(std::ostream& out);

/// Writes one line about `segment`, in columns of words without blanks, and flushes `out`.
void writeRow(std::ostream& out, const SegmentFacts& segment);

/// Writes what the stream is like, in sentences.
void writeSummary(std::ostream& out, const StreamFacts& facts, const Options& settings);

/// Writes the findings with their numbers, or that there are none.
void writeFindings(std::ostream& out, std::span<const Finding> findings);
