#pragma once

#include "publish/segment_times.h"
#include "publish/settings.h"
#include "segmenter/options.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A time on the monotonic clock, which is never set.
using Moment = std::chrono::steady_clock::time_point;

/// The numbers of the files in `folder` whose names are `prefix`, ten digits and ".ts", in order.
std::vector<std::uint32_t> numberedFiles(const std::string& folder, std::string_view prefix);

/// A segment file that will not change any more, and its times.
struct FinishedSegment {
    std::string path{};
    std::optional<std::uint32_t> number{}; ///< in its run, where that is known
    SegmentTimes times{};
    std::int64_t written = 0; ///< when it was last written, in milliseconds since 1970, UTC
};

/// The segment file at `path`, measured by its own timestamps alone; a frame lasts no longer than
/// `stated_duration` seconds, at least 1. Where no video timestamp is found, the stated duration is
/// its length.
FinishedSegment measureFile(const std::string& path, std::int32_t mux_type,
                            std::int64_t stated_duration);

/// The private folder of a run, into which a segmenter writes.
class RunFolder {
public:
    /// Reads the folder that `settings` names; they must outlive it.
    explicit RunFolder(const PublishSettings& settings) : settings(settings) {}

    /// Looks into the folder, and returns the finished segments that are in it in the order of
    /// their numbers: those that the run's playlist lists, and when `is_over`, all. A segment waits
    /// up to a second for the first timestamp of the next one, which tells its length, and those
    /// after it wait too. Cuts files to whole packets, and deletes those without any.
    std::vector<FinishedSegment> look(Moment now, bool is_over);

    /// The segment length that the run's playlist states, in seconds, 1 or more.
    [[nodiscard]] std::int64_t statedDuration() const { return stated_duration; }

    /// True when the run has ended cleanly, with the end tag in its playlist.
    [[nodiscard]] bool hasEndTag() const { return has_end_tag; }

private:
    /// What tells two versions of a playlist apart. The system's own types for these numbers differ
    /// in size from file to file of a build for 32-bit processors.
    struct PlaylistVersion {
        std::uint64_t inode = 0;
        std::int64_t size = 0;
        std::int64_t seconds = 0;
        std::int64_t nanoseconds = 0;

        bool operator==(const PlaylistVersion&) const = default;
    };

    bool readPlaylist();
    void readLine(std::string_view line);
    std::optional<FinishedSegment> measure(std::uint32_t number, Moment now, bool is_over);

    const PublishSettings& settings;
    PlaylistVersion playlist_version;
    std::int64_t stated_duration = default_duration; // until a playlist tells
    std::uint64_t finished_end = 0;                  // the number after the last one listed
    bool has_end_tag = false;
    bool has_finished = false; // at the last look, finished segments were there
    std::optional<std::uint32_t> waiting;
    Moment waiting_since{};
};
