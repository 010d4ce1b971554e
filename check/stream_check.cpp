#include "check/stream_check.h"

#include "check/findings.h"
#include "check/report.h"
#include "tsinspect/ts.h"

#include <algorithm>
#include <functional>
#include <vector>

StreamCheck::StreamCheck(Options& settings, std::ostream& out)
    : settings(settings), out(out), reader(settings) {
    writeHeading(out);
}

void StreamCheck::take(std::span<char> packets) {
    for (; !packets.empty(); packets = packets.subspan(packet_size)) {
        if (const SegmentFacts* segment = reader.take(packets.data())) {
            writeRow(out, *segment);
        }
    }
}

bool StreamCheck::end() {
    while (const SegmentFacts* segment = reader.takeEnd()) {
        writeRow(out, *segment);
    }
    const std::vector<Finding> findings = findFindings(reader.facts(), settings);
    writeSummary(out, reader.facts(), settings);
    writeFindings(out, findings);
    return std::all_of(findings.begin(), findings.end(), std::mem_fn(&Finding::is_note));
}
