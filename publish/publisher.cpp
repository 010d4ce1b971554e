#include "publish/publisher.h"

#include "playlist/replace_file.h"
#include "tsinspect/pts.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <system_error>
#include <utility>

namespace {

/// `ticks` of the 90 kHz clock, 0 or more, in milliseconds.
std::int64_t milliseconds(std::int64_t ticks) {
    constexpr std::int64_t ticks_per_millisecond = ticks_per_second / 1000;
    return (ticks + ticks_per_millisecond / 2) / ticks_per_millisecond;
}

/// The text of the file at `path`; empty when it is no file, or one of a megabyte or more.
std::string readText(const std::string& path) {
    constexpr std::uintmax_t largest = 1'000'000;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error) ||
        std::filesystem::file_size(path, error) >= largest) {
        return "";
    }
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

Publisher::Publisher(const PublishSettings& settings, Moment now, Tell tell, Tell warn)
    : settings(settings), tell(std::move(tell)), warn(std::move(warn)), run(settings),
      last_news(now) {
    const std::string path = settings.publicPlaylist();
    const std::optional<LivePlaylist> last = readPlaylist(readText(path));
    if (last) {
        playlist = *last;
        findFiles(now);
    } else if (std::error_code error; std::filesystem::exists(path, error)) {
        this->warn(path + " is not a playlist of this program: a new stream takes its place.");
    }
    findStreams();
    if (!last || last->is_ended) {
        playlist = {.stream = std::random_device()()};
    }
}

/// Finds the files of other streams that began here, to delete them when their time is over.
void Publisher::findStreams() {
    std::istringstream prefixes(readText(streamsPath()));
    char point = 0;
    for (std::uint32_t stream = 0; prefixes >> std::hex >> stream >> point;) {
        const auto numbers = numberedFiles(settings.to, addressPrefix(stream));
        streams += numbers.empty() ? "" : addressPrefix(stream) + '\n';
        for (const std::uint32_t number : numbers) {
            if (playlist.segments.empty() || stream != playlist.stream) {
                leaving.push_back(address(stream, number));
            }
        }
    }
}

std::string Publisher::streamsPath() const {
    return settings.to + '.' + settings.playlist_name + ".streams";
}

/// Begins a stream with the first `segments`: its name is on disk before any file has it.
bool Publisher::beginStream(const std::vector<FinishedSegment>& segments) {
    const std::string path = streamsPath();
    if (!replaceFile(path, streams + addressPrefix(playlist.stream) + '\n')) {
        return fail(path + " cannot be written; trying again until it can");
    }
    playlist.target_duration = run.statedDuration();
    for (const FinishedSegment& segment : segments) {
        playlist.target_duration =
            std::max(playlist.target_duration, roundedSeconds(milliseconds(segment.times.length)));
    }
    if (!leaving.empty()) { // how long their lists were is not known
        longest_list = std::max(longest_list, (settings.listed + 1) * longestSegment());
    }
    return true;
}

/// Finds out what an earlier process left of the stream.
void Publisher::findFiles(Moment now) {
    longest_list = std::max(listedLength(playlist), (settings.listed + 1) * longestSegment());
    const std::uint32_t end = nextNumber(playlist);
    for (const std::uint32_t number : numberedFiles(settings.to, addressPrefix(playlist.stream))) {
        const std::string name = address(playlist.stream, number);
        if (number < playlist.sequence) {
            left.push_back({name, now + grace()});
        } else if (playlist.is_ended) {
            leaving.push_back(name); // when the playlist of the next stream takes this one's place
        } else if (number == end + unlisted.size()) {
            unlisted.push_back(measure(name)); // moved, and then the process was killed
        } else if (number + 1 == end) {
            previous = measure(name);
        }
    }
    date = playlist.segments.back().date + playlist.segments.back().length;
    while (left.size() > 2 * static_cast<std::size_t>(settings.listed)) {
        deleteOldest();
    }
}

/// The most that a segment lasts, in milliseconds: rounded, it is the target duration.
std::int64_t Publisher::longestSegment() const { return 1000 * playlist.target_duration + 500; }

/// How long a file stays that leaves the list: as the longest list, and a segment more (RFC 8216,
/// 6.2.2).
std::chrono::milliseconds Publisher::grace() const {
    return std::chrono::milliseconds(longest_list + longestSegment());
}

FinishedSegment Publisher::measure(const std::string& name) const {
    return measureFile(settings.to + name, settings.mux_type, playlist.target_duration);
}

bool Publisher::look(Moment now, bool is_over) {
    std::vector<FinishedSegment> segments = run.look(now, is_over);
    segments.insert(segments.begin(), unlisted.begin(), unlisted.end());
    if (playlist.target_duration == 0 && !segments.empty() && !beginStream(segments)) {
        return false;
    }
    bool is_done = is_written || writePlaylist(now);
    for (auto segment = segments.begin(); is_done && segment != segments.end(); ++segment) {
        is_done = publish(*segment, now);
    }
    if (is_done && is_over && settings.end == 1 && run.hasEndTag() && !playlist.segments.empty()) {
        playlist.is_ended = true;
        news.push_back("ended " + settings.playlist_name);
        is_done = writePlaylist(now);
    }
    while (!left.empty() && left.front().due <= now) {
        deleteOldest();
    }
    warnOfSilence(now);
    return is_done;
}

/// Moves `segment` to its address and appends it to the playlist.
bool Publisher::publish(const FinishedSegment& segment, Moment now) {
    const std::string name = address(playlist.stream, nextNumber(playlist));
    const std::string path = settings.to + name;
    if (std::rename(segment.path.c_str(), path.c_str()) != 0) {
        const std::string reason = std::strerror(errno);
        if (std::error_code none; !std::filesystem::exists(segment.path, none)) {
            return true; // the segmenter's window was faster
        }
        return fail(segment.path + " cannot be moved to " + path + ": " + reason);
    }
    if (!unlisted.empty()) {
        unlisted.erase(unlisted.begin());
    }
    if (previous && previous->number && segment.number > *previous->number + 1) {
        warn("Segments were lost before " + name +
             ": the disk was full, or --window is too small.");
    }
    const std::int64_t length = milliseconds(segment.times.length);
    const bool follows_previous = follows(segment);
    if (!follows_previous) {
        date = segment.written - length;
        ticks_since_date = 0;
    }
    const LiveSegment entry = {.is_discontinuity = !follows_previous && !playlist.segments.empty(),
                               .date = date + milliseconds(ticks_since_date),
                               .length = length};
    const std::int64_t target = playlist.target_duration;
    longest_list = std::max(longest_list, listedLength(playlist) + length);
    const auto left_now = appendSegment(playlist, entry, settings.listed);
    leaving.insert(leaving.end(), left_now.begin(), left_now.end());
    if (playlist.target_duration != target) {
        warn(name + " lasts " + secondsText(length) + " s: the target duration rises from " +
             std::to_string(target) + " to " + std::to_string(playlist.target_duration) + ".");
    }
    news.push_back("published " + name + ' ' + secondsText(length));
    ticks_since_date += segment.times.length;
    previous = segment;
    return writePlaylist(now);
}

/// True when `segment` belongs to the same run as the one published before it, and its timestamps
/// go on from there.
bool Publisher::follows(const FinishedSegment& segment) const {
    constexpr std::int64_t slack = ticks_per_second; // the end of a last frame is not known exactly
    if (!previous || previous->times.has_jump) {
        return false;
    }
    const bool has_times = previous->times.first && segment.times.first;
    if (has_times && std::abs(ticksBetween(previous->times.end, *segment.times.first)) > slack) {
        return false;
    }
    // After a restart of this process only timestamps tell whether it is the same run.
    return previous->number && segment.number ? *segment.number == *previous->number + 1
                                              : has_times && segment.number != 0U;
}

bool Publisher::writePlaylist(Moment now) {
    const std::string path = settings.publicPlaylist();
    is_written = replaceFile(path, playlistText(playlist));
    if (!is_written) {
        return fail(path + " cannot be written; trying again until it can");
    }
    is_failing = false;
    if (std::exchange(is_silent, false)) {
        const auto silence = std::chrono::duration_cast<std::chrono::seconds>(now - last_news);
        warn("A new segment came after " + std::to_string(silence.count()) + " s.");
    }
    last_news = now;
    for (const std::string& line : std::exchange(news, {})) {
        tell(line);
    }
    for (const std::string& name : std::exchange(leaving, {})) {
        left.push_back({name, now + grace()});
    }
    return true;
}

void Publisher::deleteOldest() {
    if (std::remove((settings.to + left.front().name).c_str()) == 0) {
        tell("deleted " + left.front().name);
    }
    left.pop_front();
}

/// Warns once when nothing new has been listed for three target durations.
void Publisher::warnOfSilence(Moment now) {
    const std::int64_t target =
        playlist.target_duration > 0 ? playlist.target_duration : run.statedDuration();
    const auto silence = std::chrono::duration_cast<std::chrono::seconds>(now - last_news);
    if (!is_silent && silence.count() > 3 * target) {
        warn("No new segment came for " + std::to_string(silence.count()) + " s.");
        is_silent = true;
    }
}

/// Warns of what could not be done, once until it can be done again.
bool Publisher::fail(const std::string& sentence) {
    if (!std::exchange(is_failing, true)) {
        warn(sentence + '.');
    }
    return false;
}
