#include "align/align_stream.h"

#include "process/output.h"
#include "process/signals.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <span>
#include <string>

using namespace std::chrono;

namespace {

/// Waits for input for a second at most. Returns whether some came, or nothing where nobody reads
/// `output` any more.
std::optional<bool> awaitInput(bool is_held, int output) {
    constexpr int pause = 1000;    // in milliseconds
    constexpr int held_pause = 20; // until it is not held any more
    pollfd files[] = {{.fd = is_held ? -1 : STDIN_FILENO, .events = POLLIN, .revents = 0},
                      {.fd = output, .events = 0, .revents = 0}};
    ::poll(files, 2, is_held ? held_pause : pause);
    return files[1].revents == 0 ? std::optional(files[0].revents != 0) : std::nullopt;
}

} // namespace

StreamEnd alignStream(Input& input, Aligner& aligner, int output, const Aligner::MessageSink& warn,
                      std::int32_t timeout, const std::function<bool()>& isHeld) {
    constexpr seconds patience(10); // until it is said why nothing is passed on
    std::array<char, 65536> buffer{};
    std::string told;
    const auto tellMissing = [&] {
        if (const std::string missing = aligner.missing(); !missing.empty() && missing != told) {
            warn(told = missing);
        }
    };
    std::optional<StreamEnd> end;
    int error = 0;
    auto last_input = steady_clock::now();
    for (auto last_output = last_input; !end;) {
        const bool is_held = !hasSignalEndedInput() && isHeld();
        const std::optional<bool> has_input = awaitInput(is_held, output);
        const auto count = has_input.value_or(false) ? input.read(buffer) : std::nullopt;
        const auto now = steady_clock::now();
        last_input = is_held || count ? now : last_input;
        if (!has_input) {
            end = StreamEnd::no_reader;
        } else if (count && *count == 0) {
            end = StreamEnd::input;
        } else if (timeout > 0 && now - last_input >= seconds(timeout)) {
            warn("No packet of the stream came for " + std::to_string(timeout) + " s.");
            end = StreamEnd::silence;
        }
        end ? aligner.end() : aligner.take(std::span(buffer).first(count.value_or(0)));
        error = has_input ? writeAll(output, aligner.output()) : 0;
        aligner.clearOutput();
        if (error != 0) {
            end = error == EPIPE ? StreamEnd::no_reader : StreamEnd::failure;
        }
        last_output = aligner.missing().empty() ? now : last_output;
        if (now - last_output >= patience) {
            tellMissing();
        }
    }
    tellMissing();
    if (end == StreamEnd::failure) {
        warn(std::string("The output cannot be written: ") + std::strerror(error) + '.');
    }
    return *end;
}
