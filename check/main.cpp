#include "check/report.h"
#include "process/signals.h"
#include "segmenter/packet_input.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <set>
#include <span>
#include <string_view>

namespace {

/// The words that are not --NAME=VALUE with the name of an option: the segmenter skips them, or
/// reads them in its own way.
std::string strayWords(int argc, char** argv) {
    constexpr std::string_view options[] = {"--prefix=",   "--url_prefix=", "--playlist_name=",
                                            "--duration=", "--window=",     "--mux_type="};
    std::string words;
    for (const std::string word : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
        if (std::none_of(std::begin(options), std::end(options),
                         [&word](std::string_view option) { return word.starts_with(option); })) {
            words += (words.empty() ? "" : " ") + word;
        }
    }
    return words;
}

} // namespace

/// Reads the transport stream on standard input as the segmenter does, writes no segment, and says
/// what is wrong with it. Exits 0 without findings, 2 with some, 1 after the help text.
int main(int argc, char** argv) {
    constexpr std::uint64_t often = 256; // packets

    Options settings;
    if (!settings.parseOptions(argc, const_cast<const char**>(argv))) {
        return 1;
    }
    endInputOnSignals();

    const std::string stray_words = strayWords(argc, argv);
    std::set<int> told; // numbers of findings
    PacketInput input;
    StreamReader reader(settings, writeRow);
    const StreamFacts& facts = reader.facts();
    std::cout << "   segment    packets    seconds   PAT   PMT   SDT   key-frame" << std::endl;
    while (input.read()) {
        for (char* packet = input.begin(); packet != input.end(); packet += packet_size) {
            const std::uint64_t segments = facts.segments;
            reader.take(packet);
            if (facts.segments > segments || facts.packets % often == 0) {
                for (const auto& finding : judge(reader.facts(), settings, stray_words, false)) {
                    if (told.insert(finding.number).second) {
                        std::cout << '[' << finding.number << "] " << finding.text << std::endl;
                    }
                }
            }
        }
    }
    reader.end();
    const auto findings = judge(reader.facts(), settings, stray_words, true);
    const std::string cure = stray_words.empty() ? cureFor(findings, settings) : "";
    return writeReport(facts, findings, cure) ? 0 : 2;
}
