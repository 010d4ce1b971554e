#pragma once

#include "check/findings.h"

#include <string>
#include <vector>

/// Writes a row for a segment to standard output.
void writeRow(const SegmentFacts& segment);

/// Writes what is wrong with the stream that `facts` describes, and what to do about it: `cure`, if
/// that is not empty. Returns true if there is nothing to fix.
bool writeReport(const StreamFacts& facts, const std::vector<Finding>& findings,
                 const std::string& cure);
