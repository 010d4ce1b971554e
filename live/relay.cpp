#include "live/relay.h"

#include "align/aligner.h"
#include "playlist/segment_name.h"
#include "process/messages.h"
#include "process/output.h"
#include "process/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <iterator>
#include <span>
#include <string>
#include <tuple>

using namespace std::chrono;

namespace {

class Relay {
public:
    Relay(const LiveSettings& settings, Input& input, int stream, SegmentQueue& queue)
        : settings(settings), input(input), stream(stream), queue(queue),
          aligner(
              settings.duration, [this](const AlignedSegment& ended) { add(ended); }, warn) {
        // While the medium is busy, the stream waits in pipes as large as anyone may have: in both
        // together, a second of 16 Mbit/s.
        for (const int pipe : {STDIN_FILENO, stream}) {
            std::ignore = ::fcntl(pipe, F_SETPIPE_SZ, 1U << 20U);
        }
    }

    StreamEnd run() {
        std::optional<StreamEnd> end;
        while (!end) {
            end = waitForInput();
            const auto count = end ? 0 : input.read(buffer);
            if (count == 0U) {
                end = end.value_or(StreamEnd::input);
                aligner.end();
            } else {
                aligner.take(std::span(buffer).first(count.value_or(0)));
            }
            if (writeAll(stream, aligner.output()) != 0) {
                end = StreamEnd::no_reader;
            }
            aligner.clearOutput();
        }
        tellMissing();
        return *end;
    }

private:
    void add(const AlignedSegment& ended) {
        const auto now = system_clock::now().time_since_epoch();
        queue.add({.path = segmentName(settings.runFolder(), number++),
                   .length = ended.length,
                   .follows = ended.follows,
                   .written = duration_cast<milliseconds>(now).count()});
    }

    /// Waits for input. Returns what ended it, if that is not known by reading.
    std::optional<StreamEnd> waitForInput() {
        constexpr std::size_t most_waiting = 50; // fewer than the files that the segmenter keeps
        constexpr int pause = 1000;              // in milliseconds
        constexpr int held_pause = 20;           // until fewer wait
        for (auto begin = steady_clock::now();;) {
            const bool is_held = !hasSignalEndedInput() && queue.size() > most_waiting;
            pollfd files[] = {{is_held ? -1 : STDIN_FILENO, POLLIN, 0}, {stream, 0, 0}};
            ::poll(files, std::size(files), is_held ? held_pause : pause);
            const auto now = steady_clock::now();
            begin = is_held ? now : begin;
            if (now - start >= seconds(10)) {
                tellMissing();
            }
            if (files[1].revents != 0) {
                return StreamEnd::no_reader;
            }
            if (files[0].revents != 0) {
                return std::nullopt;
            }
            if (settings.timeout > 0 && now - begin >= seconds(settings.timeout)) {
                warn("No packet of the stream came for " + std::to_string(settings.timeout) +
                     " s.");
                return StreamEnd::silence;
            }
        }
    }

    /// Says why nothing was passed on, if that has not been said.
    void tellMissing() {
        const std::string missing = aligner.missing();
        if (!missing.empty() && missing != told) {
            warn(told = missing);
        }
    }

    const LiveSettings& settings;
    Input& input;
    int stream;
    SegmentQueue& queue;
    Aligner aligner;
    std::array<char, 32768> buffer{};
    std::uint32_t number = 0; // of the segment that is to end next
    steady_clock::time_point start = steady_clock::now();
    std::string told;
};

} // namespace

void SegmentQueue::add(const FinishedSegment& segment) {
    const std::lock_guard lock(mutex);
    segments.push_back(segment);
    changed.notify_one();
}

void SegmentQueue::end(StreamEnd how) {
    const std::lock_guard lock(mutex);
    ended = how;
    changed.notify_one();
}

std::optional<FinishedSegment> SegmentQueue::next() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return ended || !segments.empty(); });
    if (segments.empty()) {
        return std::nullopt;
    }
    FinishedSegment segment = segments.front();
    segments.pop_front();
    return segment;
}

std::size_t SegmentQueue::size() const {
    const std::lock_guard lock(mutex);
    return segments.size();
}

StreamEnd SegmentQueue::awaitEnd() {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return ended.has_value(); });
    return *ended;
}

void relay(const LiveSettings& settings, Input& input, int stream, SegmentQueue& queue) {
    queue.end(Relay(settings, input, stream, queue).run());
}
