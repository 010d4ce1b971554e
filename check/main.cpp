#include "check/stream_check.h"
#include "segmenter/options.h"
#include "segmenter/packet_input.h"
#include "process/signals.h"

#include <iostream>
#include <span>
#include <string>
#include <utility>

namespace {

/// The words that are not --name=value: the segmenter skips them, or reads them in its own way.
std::string strayWords(std::span<char*> arguments) {
    std::string words;
    for (const std::string argument : arguments) {
        if (!argument.starts_with("--") || argument.find('=') == std::string::npos) {
            words += (words.empty() ? "" : " ") + argument;
        }
    }
    return words;
}

} // namespace

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
    StreamCheck check(settings, std::cout,
                      strayWords({argv + 1, static_cast<std::size_t>(argc - 1)}));
    while (input.read()) {
        check.take({input.begin(), input.end()});
    }
    return check.end() ? 0 : exit_findings;
}
