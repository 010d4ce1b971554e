#pragma once

#include "check/findings.h"
#include "check/stream_reader.h"
#include "segmenter/options.h"

#include <ostream>
#include <set>
#include <span>
#include <string>

/// Takes a transport stream as it comes, and writes what is wrong with it.
class StreamCheck {
public:
    /// Writes the heading of the rows to `out`. Both `settings` and `out` must outlive the check;
    /// `stray_words` are those on the command line that are not options.
    StreamCheck(Options& settings, std::ostream& out, std::string stray_words = "");

    /// Takes the next packets, each of them whole. Writes and flushes a row for every segment that
    /// becomes complete with them, and a line for every new kind of finding.
    void take(std::span<char> packets);

    /// After the last packet: writes the rows that are left and the report. Returns true if there
    /// is nothing to fix.
    bool end();

private:
    void writeRow(const SegmentFacts& segment);
    void writeNews(); // a line for each finding with a new number

    Options& settings;
    std::ostream& out;
    std::string stray_words;
    StreamReader reader;
    std::set<int> told; // the numbers of findings that were reported already
};
