#include "align/aligner.h"
#include "process/input.h"
#include "process/output.h"
#include "process/signals.h"
#include "segmenter/options.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iostream>
#include <optional>
#include <span>
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
    constexpr std::int32_t longest = 3600;
    std::int32_t duration = default_duration;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        const std::string_view number = argument.substr(std::min(option.size(), argument.size()));
        const char* end = number.data() + number.size();
        const auto [last, error] = std::from_chars(number.data(), end, duration);
        if (!argument.starts_with(option) || last != end || error != std::errc() || duration < 1 ||
            duration > longest) {
            std::cerr << "segmenter-align: " << argument << " is not --duration=1 to 3600.\n";
            return std::nullopt;
        }
    }
    return duration;
}

void tell(const std::string& sentence) {
    if (!sentence.empty()) {
        std::cerr << "segmenter-align: " + sentence + '\n';
    }
}

/// What ended a wait.
enum class Event { none, input, no_reader };

/// Waits for input, or for the end of whoever reads the output, for at most `timeout` milliseconds,
/// or without end where that is -1.
Event waitForInput(int timeout) {
    pollfd files[] = {{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                      {.fd = STDOUT_FILENO, .events = 0, .revents = 0}};
    if (::poll(files, 2, timeout) <= 0) {
        return Event::none;
    }
    return (files[1].revents & (POLLERR | POLLHUP)) != 0 ? Event::no_reader
           : files[0].revents != 0                       ? Event::input
                                                         : Event::none;
}

} // namespace

/// Aligns standard input to standard output. Exits 0, 1 where the output cannot be written though
/// somebody reads it, 2 after arguments that make no sense.
int main(int argc, char** argv) {
    using namespace std::chrono;
    constexpr int exit_usage = 2;
    constexpr seconds patience(10); // until it is said why nothing is passed on

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
        *duration, [](const AlignedSegment&) {}, tell);
    std::array<char, 65536> buffer{};
    const auto begin = steady_clock::now();
    std::string told;
    bool is_told = false;
    int error = 0;
    for (bool is_over = false; !is_over;) {
        const Event event =
            waitForInput(is_told ? -1 : static_cast<int>(milliseconds(patience).count()));
        if (!is_told && steady_clock::now() - begin >= patience) {
            is_told = true;
            tell(told = aligner.missing());
        }
        is_over = event == Event::no_reader;
        const auto count = event == Event::input ? input.read(buffer) : std::nullopt;
        if (count) {
            is_over = *count == 0;
            is_over ? aligner.end() : aligner.take(std::span(buffer).first(*count));
            error = writeAll(STDOUT_FILENO, aligner.output());
            is_over |= error != 0;
            aligner.clearOutput();
        }
    }
    if (aligner.missing() != told) {
        tell(aligner.missing());
    }
    if (error == 0 || error == EPIPE) {
        return 0;
    }
    tell(std::string("The output cannot be written: ") + std::strerror(error) + '.');
    return 1;
}
