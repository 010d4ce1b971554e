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

/// What a wait was for.
enum class Event { none, input, no_reader };

/// Waits for input, or for the end of who reads `output`, for a second at most.
Event awaitInput(bool is_held, int output) {
    constexpr int pause = 1000;    // in milliseconds
    constexpr int held_pause = 20; // until it is not held any more
    pollfd files[] = {{.fd = is_held ? -1 : STDIN_FILENO, .events = POLLIN, .revents = 0},
                      {.fd = output, .events = 0, .revents = 0}};
    ::poll(files, 2, is_held ? held_pause : pause);
    return files[1].revents != 0   ? Event::no_reader
           : files[0].revents != 0 ? Event::input
                                   : Event::none;
}

/// Takes what has come. Returns false at the end of the input.
bool takeInput(Input& input, Aligner& aligner) {
    std::array<char, 65536> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init): it is filled
    const auto count = input.read(buffer);
    if (count) {
        aligner.take(std::span(buffer).first(*count));
        return *count > 0;
    }
    return true;
}

/// Says why nothing is passed on, if that is not what was `told` last.
void tellMissing(const Aligner& aligner, const Aligner::MessageSink& warn, std::string& told) {
    if (const std::string missing = aligner.missing(); !missing.empty() && missing != told) {
        warn(told = missing);
    }
}

} // namespace

StreamEnd alignStream(Input& input, Aligner& aligner, int output, const Aligner::MessageSink& warn,
                      std::int32_t timeout, const std::function<bool()>& isHeld) {
    constexpr seconds patience(10); // until it is said why nothing is passed on
    std::string told;
    std::optional<StreamEnd> end;
    int error = 0;
    auto last_input = steady_clock::now();
    for (auto last_output = last_input; !end;) {
        const bool is_held = !hasSignalEndedInput() && isHeld();
        const Event event = awaitInput(is_held, output);
        const auto now = steady_clock::now();
        if (event == Event::no_reader) {
            end = StreamEnd::no_reader;
        } else if (event == Event::input && !takeInput(input, aligner)) {
            end = StreamEnd::input;
        } else if (event == Event::none && timeout > 0 && !is_held &&
                   now - last_input >= seconds(timeout)) {
            warn("No packet of the stream came for " + std::to_string(timeout) + " s.");
            end = StreamEnd::silence;
        }
        if (end) {
            aligner.end();
        }
        error = event == Event::no_reader ? 0 : writeAll(output, aligner.output());
        aligner.clearOutput();
        if (error != 0) {
            end = error == EPIPE ? StreamEnd::no_reader : StreamEnd::failure;
        }
        last_input = is_held || event == Event::input ? steady_clock::now() : last_input;
        last_output = aligner.missing().empty() ? now : last_output;
        if (now - last_output >= patience) {
            tellMissing(aligner, warn, told);
        }
    }
    tellMissing(aligner, warn, told);
    if (end == StreamEnd::failure) {
        warn(std::string("The output cannot be written: ") + std::strerror(error) + '.');
    }
    return *end;
}
