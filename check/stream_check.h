#pragma once

#include "check/stream_reader.h"
#include "segmenter/options.h"

#include <ostream>
#include <span>

/// Takes a transport stream as it comes, and writes what is wrong with it.
class StreamCheck {
public:
    /// Writes the heading of the rows to `out`. Both `settings` and `out` must outlive the check.
    StreamCheck(Options& settings, std::ostream& out);

    /// Takes the next packets, each of them whole, and writes and flushes a row for every segment
    /// that becomes complete with them.
    void take(std::span<char> packets);

    /// After the last packet: writes the rows that are left, the summary and the findings. Returns
    /// true if there is nothing to mend.
    bool end();

private:
    Options& settings;
    std::ostream& out;
    StreamReader reader;
};
