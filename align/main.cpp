#include "align/align_stream.h"
#include "align/aligner.h"
#include "process/input.h"
#include "process/signals.h"
#include "segmenter/options.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr std::string_view usage =
    "usage: segmenter-align [--duration=SECONDS] < STREAM > ALIGNED\n"
    "SECONDS, 1 to 3600, is how long segments are to last; without it, 5.\n";

/// The duration that the arguments give; nothing where they make no sense.
std::optional<std::int32_t> durationIn(int argc, char** argv) {
    constexpr std::string_view option = "--duration=";
    std::int32_t duration = default_duration;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        const std::string_view number = argument.substr(std::min(option.size(), argument.size()));
        const char* end = number.data() + number.size();
        const auto [last, error] = std::from_chars(number.data(), end, duration);
        if (!argument.starts_with(option) || last != end || error != std::errc() || duration < 1 ||
            duration > longest_duration) {
            std::cerr << "segmenter-align: " << argument << " is not --duration=1 to 3600.\n";
            return std::nullopt;
        }
    }
    return duration;
}

void warn(const std::string& sentence) { std::cerr << "segmenter-align: " + sentence + '\n'; }

} // namespace

/// Aligns standard input to standard output. Exits 0, 1 where the output cannot be written though
/// somebody reads it, 2 after arguments that make no sense.
int main(int argc, char** argv) {
    constexpr int exit_usage = 2;
    if (argc > 1 && std::string_view(argv[1]) == "--help") {
        std::cout << usage;
        return 0;
    }
    const std::optional<std::int32_t> duration = durationIn(argc, argv);
    if (!duration) {
        std::cerr << usage;
        return exit_usage;
    }
    fillStandardDescriptors();
    surviveFailedWrites();
    Input input;
    Aligner aligner(
        *duration, [](const AlignedSegment&) {}, warn);
    const StreamEnd end = alignStream(input, aligner, STDOUT_FILENO, warn, 0, [] { return false; });
    return end == StreamEnd::failure ? 1 : 0;
}
