#include "playlist/live_playlist.h"

#include "playlist/segment_name.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <string_view>
#include <tuple>

namespace {

constexpr std::string_view target_tag = "#EXT-X-TARGETDURATION:";
constexpr std::string_view sequence_tag = "#EXT-X-MEDIA-SEQUENCE:";
constexpr std::string_view discontinuities_tag = "#EXT-X-DISCONTINUITY-SEQUENCE:";
constexpr std::string_view discontinuity_tag = "#EXT-X-DISCONTINUITY";
constexpr std::string_view date_tag = "#EXT-X-PROGRAM-DATE-TIME:";
constexpr std::string_view length_tag = "#EXTINF:";
constexpr std::string_view end_tag = "#EXT-X-ENDLIST";

constexpr std::int64_t milliseconds_per_second = 1000;

/// A sequence number up to this one is read back, so that there is room for what follows.
constexpr std::uint32_t largest_sequence = 4'000'000'000;

/// A target duration up to this one is read back, so that the time that files stay can be counted.
constexpr std::int64_t largest_target = 1'000'000;

/// What printf makes of `format` and `values`, at most 63 characters.
template <typename... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 64> text{};
    std::ignore = std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

/// `date` as RFC 3339 writes it, such as "2026-11-25T13:20:23.120Z".
std::string dateText(std::int64_t date) {
    using namespace std::chrono;
    const sys_time<milliseconds> time{milliseconds(date)};
    const auto day = floor<days>(time);
    const year_month_day ymd(day);
    const int milliseconds_of_day = static_cast<int>((time - day).count());
    const int second = milliseconds_of_day / 1000;
    return formatted("%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(ymd.year()),
                     static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                     second / 3600, second / 60 % 60, second % 60, milliseconds_of_day % 1000);
}

/// The number that `text` begins with, 0 without one.
template <typename Number>
Number numberIn(std::string_view text, int base = 10) {
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number, base);
    return number;
}

/// The date that dateText wrote as `text`.
std::int64_t readDate(std::string_view text) {
    using namespace std::chrono;
    constexpr std::size_t size = 24;
    if (text.size() != size) {
        return 0;
    }
    const auto number = [text](std::size_t at) { return numberIn<unsigned>(text.substr(at)); };
    const sys_days day = year(numberIn<int>(text)) / month(number(5)) / std::chrono::day(number(8));
    const sys_time<milliseconds> time = day + hours(number(11)) + minutes(number(14)) +
                                        seconds(number(17)) + milliseconds(number(20));
    return time.time_since_epoch().count();
}

/// The milliseconds that secondsText wrote as `text`.
std::int64_t readSeconds(std::string_view text) {
    const std::size_t point = text.find('.');
    return milliseconds_per_second * numberIn<std::uint32_t>(text) +
           (point == std::string_view::npos ? 0 : numberIn<std::uint32_t>(text.substr(point + 1)));
}

/// What stands in front of the number in every address of `stream`, such as "1f6a03c2.".
std::string streamPrefix(std::uint32_t stream) { return formatted("%08x.", unsigned{stream}); }

/// Takes one line of a playlist's text into `playlist`, or into the segment that comes next.
void readLine(LivePlaylist& playlist, LiveSegment& next, std::string_view line) {
    const auto value = [line](std::string_view tag) { return line.substr(tag.size()); };
    if (line.starts_with(length_tag)) {
        next.length = readSeconds(value(length_tag));
    } else if (line.starts_with(date_tag)) {
        next.date = readDate(value(date_tag));
    } else if (line == discontinuity_tag) {
        next.is_discontinuity = true;
    } else if (line.starts_with(target_tag)) {
        playlist.target_duration = numberIn<std::int32_t>(value(target_tag));
    } else if (line.starts_with(sequence_tag)) {
        playlist.sequence = numberIn<std::uint32_t>(value(sequence_tag));
    } else if (line.starts_with(discontinuities_tag)) {
        playlist.discontinuities = numberIn<std::uint32_t>(value(discontinuities_tag));
    } else if (line == end_tag) {
        playlist.is_ended = true;
    } else if (!line.starts_with('#')) {
        playlist.stream = numberIn<std::uint32_t>(line, 16);
        playlist.segments.push_back(next);
        next = {};
    }
}

} // namespace

std::string fileName(const Address& address) {
    std::string name;
    appendNumberedName(name, streamPrefix(address.stream), address.number);
    return name;
}

std::optional<Address> readAddress(std::string_view name) {
    const auto stream = numberIn<std::uint32_t>(name, 16);
    const auto number = numberInName(name, streamPrefix(stream));
    return number ? std::optional<Address>({stream, *number}) : std::nullopt;
}

std::uint32_t nextNumber(const LivePlaylist& playlist) {
    return playlist.sequence + static_cast<std::uint32_t>(playlist.segments.size());
}

bool comesAfter(const LivePlaylist& playlist, const Address& segment) {
    return segment.stream == playlist.stream && segment.number >= nextNumber(playlist);
}

std::int64_t listedLength(const LivePlaylist& playlist) {
    return std::accumulate(playlist.segments.begin(), playlist.segments.end(), std::int64_t{0},
                           [](std::int64_t sum, const LiveSegment& s) { return sum + s.length; });
}

std::int64_t roundedSeconds(std::int64_t milliseconds) {
    return (milliseconds + milliseconds_per_second / 2) / milliseconds_per_second;
}

std::string secondsText(std::int64_t milliseconds) {
    return formatted("%lld.%03d", static_cast<long long>(milliseconds / milliseconds_per_second),
                     static_cast<int>(milliseconds % milliseconds_per_second));
}

std::string playlistText(const LivePlaylist& playlist) {
    std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n";
    const auto add = [&text](std::string_view tag, const std::string& value) {
        text.append(tag).append(value) += '\n';
    };
    add(target_tag, std::to_string(playlist.target_duration));
    add(sequence_tag, std::to_string(playlist.sequence));
    add(discontinuities_tag, std::to_string(playlist.discontinuities));
    std::uint32_t number = playlist.sequence;
    for (const LiveSegment& segment : playlist.segments) {
        if (segment.is_discontinuity) {
            add(discontinuity_tag, "");
        }
        add(date_tag, dateText(segment.date));
        add(length_tag, secondsText(segment.length) + ',');
        add("", fileName({playlist.stream, number++}));
    }
    if (playlist.is_ended) {
        add(end_tag, "");
    }
    return text;
}

std::optional<LivePlaylist> readPlaylist(const std::string& text) {
    LivePlaylist playlist;
    LiveSegment next;
    for (std::string_view rest = text; !rest.empty();) { // each line of ours ends with a line feed
        const std::size_t size = std::min(rest.find('\n'), rest.size() - 1);
        readLine(playlist, next, rest.substr(0, size));
        rest.remove_prefix(size + 1);
    }
    // What would be written again just as it was is a playlist of ours: nothing else need be
    // checked.
    const bool is_ours = playlist.sequence <= largest_sequence && playlist.target_duration > 0 &&
                         playlist.target_duration <= largest_target && !playlist.segments.empty() &&
                         playlistText(playlist) == text;
    return is_ours ? std::optional(playlist) : std::nullopt;
}

std::vector<Address> appendSegment(LivePlaylist& playlist, const LiveSegment& segment,
                                   std::ptrdiff_t listed) {
    constexpr std::int64_t least_target_durations = 3;
    playlist.segments.push_back(segment);
    playlist.target_duration = std::max(playlist.target_duration, roundedSeconds(segment.length));
    const std::int64_t least =
        least_target_durations * playlist.target_duration * milliseconds_per_second;

    std::vector<Address> left;
    auto first = playlist.segments.begin();
    std::int64_t rest = listedLength(playlist) - first->length; // without the first
    for (; playlist.segments.end() - first > listed && rest >= least; rest -= (++first)->length) {
        left.push_back({playlist.stream, playlist.sequence++});
        playlist.discontinuities += first->is_discontinuity ? 1 : 0;
    }
    playlist.segments.erase(playlist.segments.begin(), first);
    return left;
}
