#pragma once

#include "live/settings.h"
#include "playlist/live_playlist.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// A time on the monotonic clock, which is never set.
using Moment = std::chrono::steady_clock::time_point;

/// A segment file that will not change any more.
struct FinishedSegment {
    std::string path{};
    std::int64_t length = 0;  ///< in 90 kHz ticks
    bool follows = false;     ///< its timestamps and tracks go on from the segment before
    std::int64_t written = 0; ///< when it was finished, in milliseconds since 1970, UTC
};

/// Moves finished segments into the public folder and keeps the live playlist there.
class Publisher {
public:
    using Clock = std::function<Moment()>;
    using Tell = std::function<void(const std::string&)>;

    /// Goes on with the stream whose playlist, `last`, is in the public folder, or begins one.
    /// `tell` gets a line for each action, `warn` a sentence that an operator must know.
    /// `settings` must outlive it.
    Publisher(const LiveSettings& settings, const std::optional<LivePlaylist>& last, Clock clock,
              Tell tell, Tell warn);

    /// Makes `segment` the last one of the playlist, or drops it where there is no such file, or an
    /// empty one, and with `may_drop` also where the medium is full: its file is deleted. False
    /// where nothing has changed, and it can be tried again. Its path is another one once it was
    /// moved.
    bool publish(FinishedSegment& segment, bool may_drop);

    /// True when a segment was given up.
    [[nodiscard]] bool hasLosses() const { return has_losses; }

    /// Closes the playlist, if there is one; false where that fails.
    bool endStream();

    /// The stream as viewers see it.
    [[nodiscard]] const LivePlaylist& stream() const { return version.playlist; }

private:
    /// All that the next version of the playlist is made from.
    struct Version {
        LivePlaylist playlist{};
        std::int64_t next_date = 0;     // of a segment that follows, in ticks since 1970
        std::int64_t longest_list = 0;  // of any version so far, in milliseconds
        std::vector<Address> leaving{}; // files that it does not list any more
    };

    /// A file that no playlist lists any more, and until when it stays.
    struct LeftFile {
        Address address;
        Moment due;
    };

    void findFiles(const std::optional<LivePlaylist>& last);
    void keep(const Address& file, std::int64_t age);
    [[nodiscard]] std::int64_t longestSegment() const;
    [[nodiscard]] std::string nextName() const;
    [[nodiscard]] Version with(const FinishedSegment& segment) const;
    bool show(Version next, FinishedSegment* segment, const std::string& news);
    void drop(const FinishedSegment& segment);
    bool fail(const std::string& sentence);
    void warnOnce(bool& is_told, const std::string& sentence) const;
    void makeRoom();
    void deleteDue();
    std::int64_t deleteOldest();

    const LiveSettings& settings;
    Clock clock;
    Tell tell;
    Tell warn;
    Version version;               // that viewers see
    std::deque<LeftFile> left;     // the first to be deleted first
    std::int64_t segment_size = 0; // of the last segment, or the largest one found
    bool has_gap = false;          // segments were lost since the last one, and that was told
    bool has_losses = false;       // segments were lost since it began
    bool is_failing = false;       // and that was told
    bool is_full = false;
    bool told_full = false;
    bool told_small = false;
};
