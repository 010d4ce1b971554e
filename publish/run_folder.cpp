#include "publish/run_folder.h"

#include "playlist/segment_name.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <tuple>

namespace {

/// Cuts the file at `path` to whole packets, and keeps the time when it was last written. Leaves it
/// as it is where it cannot be cut. Returns false when it has no whole packet.
bool cutToPackets(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error || size < packet_size) {
        return false;
    }
    if (size % packet_size != 0) {
        const auto written = std::filesystem::last_write_time(path, error);
        std::filesystem::resize_file(path, size - size % packet_size, error);
        std::filesystem::last_write_time(path, written, error);
    }
    return true;
}

/// When the file at `path` was last written, in milliseconds since 1970, UTC.
std::int64_t lastWritten(const std::string& path) {
    struct stat status = {};
    std::ignore = ::stat(path.c_str(), &status);
    return std::int64_t{status.st_mtim.tv_sec} * 1000 + status.st_mtim.tv_nsec / 1'000'000;
}

} // namespace

std::vector<std::uint32_t> numberedFiles(const std::string& folder, std::string_view prefix) {
    std::vector<std::uint32_t> numbers;
    std::error_code error;
    for (std::filesystem::directory_iterator file(folder, error), end; !error && file != end;
         file.increment(error)) {
        const auto number = numberInName(file->path().filename().native(), prefix);
        std::error_code gone;
        if (number && file->symlink_status(gone).type() == std::filesystem::file_type::regular) {
            numbers.push_back(*number);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

FinishedSegment measureFile(const std::string& path, std::int32_t mux_type,
                            std::int64_t stated_duration) {
    const std::int64_t stated =
        std::max(stated_duration, std::int64_t{1}) * std::int64_t{ticks_per_second};
    FinishedSegment segment{
        .path = path, .times = readTimes(path, mux_type, stated), .written = lastWritten(path)};
    if (!segment.times.first) {
        segment.times.length = stated;
    }
    return segment;
}

std::vector<FinishedSegment> RunFolder::look(Moment now, bool is_over) {
    std::vector<FinishedSegment> segments;
    if (!readPlaylist() && !has_finished && !is_over) {
        return segments;
    }
    has_finished = false;
    for (const std::uint32_t number : numberedFiles(settings.from, segment_prefix)) {
        if (!is_over && number >= finished_end) {
            break;
        }
        const std::string path = segmentName(settings.from, number);
        if (!cutToPackets(path)) {
            std::ignore = std::remove(path.c_str());
            continue;
        }
        has_finished = true;
        std::optional<FinishedSegment> segment = measure(number, now, is_over);
        if (!segment) {
            break;
        }
        segments.push_back(*std::move(segment));
    }
    return segments;
}

/// Reads the run's playlist, if it is another one than at the last look.
bool RunFolder::readPlaylist() {
    const std::string path = settings.from + settings.playlist_name;
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    // Two files are written in turn, so the inode alone does not tell them apart.
    const PlaylistVersion version = {status.st_ino, status.st_size, status.st_mtim.tv_sec,
                                     status.st_mtim.tv_nsec};
    if (version == playlist_version) {
        return false;
    }
    playlist_version = version;
    finished_end = 0;
    has_end_tag = false;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        readLine(line);
    }
    return true;
}

void RunFolder::readLine(std::string_view line) {
    constexpr std::string_view duration_tag = "#EXT-X-TARGETDURATION:";
    if (line.starts_with(duration_tag)) {
        const std::string_view text = line.substr(duration_tag.size());
        std::int32_t seconds = 0;
        std::from_chars(text.data(), text.data() + text.size(), seconds);
        stated_duration = std::max(seconds, 1);
    } else if (line == "#EXT-X-ENDLIST") {
        has_end_tag = true;
    } else if (!line.starts_with('#')) {
        const std::string_view name = line.substr(line.rfind('/') + 1); // npos + 1 is 0
        if (const auto number = numberInName(name, segment_prefix)) {
            finished_end = std::max(finished_end, std::uint64_t{*number} + 1);
        }
    }
}

/// Measures segment `number`; nothing while it waits for the next one.
std::optional<FinishedSegment> RunFolder::measure(std::uint32_t number, Moment now, bool is_over) {
    constexpr std::chrono::seconds longest_wait(1);
    if (waiting != number) {
        waiting = number;
        waiting_since = now;
    }
    const std::string path = segmentName(settings.from, number);
    const auto first = firstTimestamp(path, settings.mux_type);
    const auto next = firstTimestamp(segmentName(settings.from, number + 1), settings.mux_type);
    if (first && !next && !is_over && now - waiting_since < longest_wait) {
        return std::nullopt;
    }
    const std::int64_t length = first && next ? ticksBetween(*first, *next) : 0;
    if (length > 0 && length <= 2 * stated_duration * std::int64_t{ticks_per_second}) {
        return FinishedSegment{.path = path,
                               .number = number,
                               .times = {.first = first, .length = length, .end = *next},
                               .written = lastWritten(path)};
    }
    FinishedSegment segment = measureFile(path, settings.mux_type, stated_duration);
    segment.number = number;
    return segment;
}
