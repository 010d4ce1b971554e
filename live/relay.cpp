#include "live/relay.h"

#include "process/input.h"
#include "process/messages.h"
#include "process/output.h"
#include "process/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace std::chrono;

namespace {

class Relay {
public:
    Relay(const LiveSettings& settings, int stream, int reports)
        : settings(settings), stream(stream), reports(reports),
          aligner(
              settings.duration, [this](const AlignedSegment& ended) { add(ended); }, warn) {
        // While the medium is busy, the stream waits in pipes as large as anyone may have: in both
        // together, a second of 16 Mbit/s.
        for (const int pipe : {STDIN_FILENO, stream}) {
            std::ignore = ::fcntl(pipe, F_SETPIPE_SZ, 1U << 20U);
        }
    }

    void run() {
        for (bool is_over = false; !is_over;) {
            const bool has_input = waitForInput();
            const std::optional<std::size_t> count = has_input ? input.read(buffer) : 0;
            if (count) {
                is_over = *count == 0;
                is_over ? aligner.end() : aligner.take(std::span(buffer).first(*count));
                if (is_over && has_input) {
                    pending.push_back({.is_end = true});
                }
                is_over |= !passOn();
            }
        }
        tellMissing();
    }

private:
    void add(const AlignedSegment& ended) {
        const auto now = system_clock::now().time_since_epoch();
        pending.push_back({ended, duration_cast<milliseconds>(now).count()});
    }

    /// Waits for input. False when it is silent for too long, or nobody reads any more.
    bool waitForInput() {
        constexpr int most_waiting = 50; // fewer than the files that the segmenter keeps
        constexpr int pause = 1000;      // in milliseconds
        constexpr int held_pause = 20;   // until fewer wait
        for (auto begin = steady_clock::now();;) {
            const bool is_held = !hasSignalEndedInput() && waitingReports(reports) > most_waiting;
            pollfd files[] = {
                {is_held ? -1 : STDIN_FILENO, POLLIN, 0}, {stream, 0, 0}, {reports, 0, 0}};
            ::poll(files, std::size(files), is_held ? held_pause : pause);
            const auto now = steady_clock::now();
            begin = is_held ? now : begin;
            if (now - start >= seconds(10)) {
                tellMissing();
            }
            const bool is_read = files[1].revents == 0 && files[2].revents == 0;
            if (!is_read || files[0].revents != 0) {
                return is_read;
            }
            if (settings.timeout > 0 && now - begin >= seconds(settings.timeout)) {
                warn("No packet of the stream came for " + std::to_string(settings.timeout) +
                     " s.");
                return false;
            }
        }
    }

    /// Passes on what the aligner made, and then reports what ended in it. False when nobody reads
    /// it.
    bool passOn() {
        int error = writeAll(stream, aligner.output());
        aligner.clearOutput();
        for (const Report& report : std::exchange(pending, {})) {
            const void* bytes = &report;
            error = error != 0
                        ? error
                        : writeAll(reports, {static_cast<const char*>(bytes), sizeof report});
        }
        return error == 0;
    }

    /// Says why nothing was passed on, if that has not been said.
    void tellMissing() {
        const std::string missing = aligner.missing();
        if (!missing.empty() && missing != told) {
            warn(told = missing);
        }
    }

    const LiveSettings& settings;
    int stream;
    int reports;
    Input input;
    Aligner aligner;
    std::array<char, 32768> buffer{};
    std::vector<Report> pending;
    steady_clock::time_point start = steady_clock::now();
    std::string told;
};

} // namespace

int waitingReports(int pipe) {
    int bytes = 0;
    std::ignore = ::ioctl(pipe, FIONREAD, &bytes);
    return bytes / static_cast<int>(sizeof(Report));
}

void relay(const LiveSettings& settings, int stream, int reports) {
    Relay(settings, stream, reports).run();
}
