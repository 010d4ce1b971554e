#pragma once

#include "publish/live_playlist.h"
#include "publish/run_folder.h"
#include "publish/settings.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Moves the finished segments of a run into the public folder and keeps the live playlist there.
class Publisher {
public:
    using Tell = std::function<void(const std::string&)>;

    /// Continues the stream whose playlist is in the public folder, or begins one. `tell` gets a
    /// line for each action, `warn` what an operator must know. `settings` must outlive it.
    Publisher(const PublishSettings& settings, Moment now, Tell tell, Tell warn);

    /// Looks once for what there is to do, and does it; `is_over` when the run has ended. Returns
    /// false when something could not be done, after a warning: the next look tries it again.
    bool look(Moment now, bool is_over);

private:
    /// A file that no playlist lists any more, and until when it stays.
    struct LeftFile {
        std::string name;
        Moment due;
    };

    void findFiles(Moment now);
    void findStreams();
    [[nodiscard]] std::string streamsPath() const;
    bool beginStream(const std::vector<FinishedSegment>& segments);
    [[nodiscard]] std::int64_t longestSegment() const;
    [[nodiscard]] std::chrono::milliseconds grace() const;
    [[nodiscard]] FinishedSegment measure(const std::string& name) const;
    bool publish(const FinishedSegment& segment, Moment now);
    [[nodiscard]] bool follows(const FinishedSegment& segment) const;
    bool writePlaylist(Moment now);
    void deleteOldest();
    void warnOfSilence(Moment now);
    bool fail(const std::string& sentence);

    const PublishSettings& settings;
    Tell tell;
    Tell warn;
    RunFolder run;
    LivePlaylist playlist;
    std::string streams;                     // that began here before and have files, a line each
    bool is_written = true;                  // the playlist on disk is up to date
    std::vector<FinishedSegment> unlisted;   // found in the public folder, not in its playlist
    std::optional<FinishedSegment> previous; // the segment published last
    std::int64_t date = 0;                   // of the first segment after the last discontinuity
    std::int64_t ticks_since_date = 0;       // how long the segments from that one on last
    std::vector<std::string> news;           // lines to tell once the playlist is written
    std::vector<std::string> leaving;        // files that leave the list once it is written
    std::deque<LeftFile> left;               // files that it does not list, the oldest first
    std::int64_t longest_list = 0;           // of any playlist so far, in milliseconds
    Moment last_news;
    bool is_silent = false; // no news for long, and that was told
    bool is_failing = false;
};
