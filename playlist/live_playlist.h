#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One segment as a live playlist lists it.
struct LiveSegment {
    bool is_discontinuity = false; ///< its timestamps do not follow those of the one before
    std::int64_t date = 0;         ///< of its first sample, in milliseconds since 1970, UTC
    std::int64_t length = 0;       ///< in milliseconds, 0 or more

    bool operator==(const LiveSegment&) const = default;
};

/// The playlist of a stream that goes on over many runs (RFC 8216, 6.2).
struct LivePlaylist {
    std::uint32_t stream = 0;          ///< a random number, in front of every address
    std::int64_t target_duration = 0;  ///< in seconds; 0 until the stream begins
    std::uint32_t sequence = 0;        ///< number of the first segment listed
    std::uint32_t discontinuities = 0; ///< discontinuities that left the list
    std::vector<LiveSegment> segments{};
    bool is_ended = false; ///< no segment will follow

    bool operator==(const LivePlaylist&) const = default;
};

/// Which segment of which stream a file is.
struct Address {
    std::uint32_t stream = 0;
    std::uint32_t number = 0;
};

/// Its file name, such as "1f6a03c2.0000000018.ts".
std::string fileName(const Address& address);

/// The address of which `name` is the file name; nothing for any other name.
std::optional<Address> readAddress(std::string_view name);

/// The number that the next segment of `playlist` gets.
std::uint32_t nextNumber(const LivePlaylist& playlist);

/// True for a segment of this stream that comes after all that `playlist` lists.
bool comesAfter(const LivePlaylist& playlist, const Address& segment);

/// How long the listed segments last together, in milliseconds.
std::int64_t listedLength(const LivePlaylist& playlist);

/// `milliseconds` rounded to whole seconds.
std::int64_t roundedSeconds(std::int64_t milliseconds);

/// `milliseconds` as seconds with three decimals, such as "4.040".
std::string secondsText(std::int64_t milliseconds);

/// The playlist as the text of an m3u8 file.
std::string playlistText(const LivePlaylist& playlist);

/// The playlist from which playlistText made `text`; nothing for any other text.
std::optional<LivePlaylist> readPlaylist(const std::string& text);

/// Appends `segment`, raises the target duration if `segment`, rounded, is longer, and removes the
/// oldest segments beyond `listed`, but none without which less than three target durations would
/// be left (RFC 8216, 6.2.2). Returns the addresses of those that left, the oldest first.
std::vector<Address> appendSegment(LivePlaylist& playlist, const LiveSegment& segment,
                                   std::ptrdiff_t listed);
