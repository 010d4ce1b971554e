#include "check/findings.h"
#include "check/report.h"
#include "check/stream_reader.h"
#include "segmenter/options.h"
#include "segmenter/packet_input.h"
#include "segmenter/process.h"

#include <algorithm>
#include <functional>
#include <iostream>

/// Reads the transport stream on standard input as the segmenter does, writes no segment, and says
/// what is wrong with it. Exits 0 without findings, 2 with some, 1 after the help text.
int main(int argc, char** argv) {
    constexpr int exit_findings = 2;

    Options settings;
    if (!settings.parseOptions(argc, const_cast<const char**>(argv))) {
        return 1;
    }
    endInputOnSignals();

    PacketInput input;
    StreamReader reader(settings);
    writeHeading(std::cout);
    while (input.read()) {
        for (char* packet = input.begin(); packet != input.end(); packet += packet_size) {
            if (const SegmentFacts* segment = reader.take(packet)) {
                writeRow(std::cout, *segment);
            }
        }
    }
    while (const SegmentFacts* segment = reader.takeEnd()) {
        writeRow(std::cout, *segment);
    }

    writeSummary(std::cout, reader.facts(), settings);
    const std::vector<Finding> findings = findFindings(reader.facts(), settings);
    writeFindings(std::cout, findings);
    return std::all_of(findings.begin(), findings.end(), std::mem_fn(&Finding::is_note))
               ? 0
               : exit_findings;
}
