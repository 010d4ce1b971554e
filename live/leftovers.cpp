#include "align/aligner.h"
#include "live/run.h"
#include "playlist/segment_name.h"
#include "process/files.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <tuple>
#include <vector>

namespace {

/// A file, and what the packets in it say. Times are in 90 kHz ticks.
struct Leftover {
    std::string path{};
    std::optional<std::uint32_t> number{}; ///< in its run, where that is known
    std::int64_t good_bytes = 0;           ///< in front of the first packet without its sync byte
    std::uint64_t begin = 0;               ///< the timestamp of the first frame
    std::uint64_t end = 0;                 ///< the one that is expected behind the last
    std::int64_t length = 0;               ///< without jumps; 0 where no frame was found
    bool has_jump = false;
};

/// Measures file `number` of a run, at `path`.
Leftover measure(const std::string& path, std::optional<std::uint32_t> number = std::nullopt) {
    Leftover file = {.path = path, .number = number};
    const auto add = [&file](const AlignedSegment& part) {
        file.has_jump |= file.length > 0 && !part.follows;
        file.begin = file.length > 0 ? file.begin : part.begin;
        file.length += part.length;
        file.end = (part.begin + static_cast<std::uint64_t>(part.length)) % pts_modulus;
    };
    Aligner aligner(longest_duration, add, [](const std::string&) {});
    std::ifstream input(path, std::ios::binary);
    std::array<char, packet_size> packet{};
    while (input.read(packet.data(), packet.size()) &&
           static_cast<unsigned char>(packet[0]) == sync_byte) {
        aligner.take(packet);
        aligner.clearOutput();
        file.good_bytes += packet_size;
    }
    aligner.end();
    return file;
}

/// The files to publish, the oldest first: those that have their addresses already, and the others.
std::vector<Leftover> findLeftovers(const LiveSettings& settings, const LivePlaylist& stream) {
    std::vector<Leftover> files;
    for (const auto& [name, status] : regularFiles(settings.folder)) {
        if (const auto address = readAddress(name); address && comesAfter(stream, *address)) {
            files.push_back(measure(settings.folder + name));
        }
    }
    for (const auto& [name, status] : regularFiles(settings.runFolder())) {
        if (const auto number = numberInName(name, segment_prefix)) {
            files.push_back(measure(settings.runFolder() + '/' + name, number));
        }
    }
    return files;
}

/// True when `next` belongs to the same run as `previous`, and its timestamps go on from there.
bool follows(const Leftover& previous, const Leftover& next) {
    constexpr std::int64_t slack = ticks_per_second; // the end of a file may be missing
    const bool is_next =
        next.number && previous.number ? *next.number == *previous.number + 1 : next.number != 0U;
    return is_next && previous.length > 0 && !previous.has_jump &&
           std::abs(ticksBetween(previous.end, next.begin)) <= slack;
}

/// The most that a segment can last, in ticks.
std::int64_t longestLength(const LiveSettings& settings) {
    const std::int64_t wanted = std::int64_t{settings.duration} * ticks_per_second;
    return std::max(longestWait(settings.duration), wanted) + wanted;
}

/// How the next segment of `stream` was listed in a version of the playlist that the power took
/// away again. Viewers may have seen it, so its text was on the medium before.
std::optional<LiveSegment> shownBefore(const LiveSettings& settings, const LivePlaylist& stream) {
    const auto shown = readPlaylist(readSmallFile(settings.temporary()).value_or(""));
    const bool is_next =
        shown && shown->stream == stream.stream && nextNumber(*shown) == nextNumber(stream) + 1;
    return is_next ? std::optional(shown->segments.back()) : std::nullopt;
}

} // namespace

bool publishLeftovers(const LiveSettings& settings, Publisher& publisher,
                      const Publisher::Tell& warn) {
    const LivePlaylist& stream = publisher.stream();
    const auto shown = shownBefore(settings, stream);
    const auto next_path = settings.folder + fileName({stream.stream, nextNumber(stream)});
    const std::vector<Leftover> files = findLeftovers(settings, stream);
    Leftover previous;
    if (!files.empty() && !stream.segments.empty()) {
        previous = measure(settings.folder + fileName({stream.stream, nextNumber(stream) - 1}));
    }
    for (const Leftover& file : files) {
        const FileStatus status = statusOf(file.path);
        FinishedSegment segment = {file.path, file.length, follows(previous, file), status.written};
        previous = file;
        if (file.length == 0 || file.length > longestLength(settings)) {
            warn(file.path + ", left by a crash, is dropped: it has no frame, or is too long.");
            std::ignore = ::unlink(file.path.c_str());
            previous = {};
            continue;
        }
        if (file.good_bytes < status.size) {
            std::ignore = ::truncate(file.path.c_str(), file.good_bytes);
        } else if (shown && file.path == next_path) { // its entry does not change
            segment.length = shown->length * (ticks_per_second / 1000);
            segment.follows = !shown->is_discontinuity;
            segment.written = shown->date + shown->length;
        }
        if (!publisher.publish(segment, true)) {
            return false;
        }
    }
    return true;
}
