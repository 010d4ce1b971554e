#include "live/publisher.h"

#include "process/files.h"
#include "tsinspect/pts.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>
#include <tuple>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr std::int64_t ticks_per_millisecond = ticks_per_second / 1000;

/// `ticks` of the 90 kHz clock, 0 or more, in milliseconds.
std::int64_t milliseconds(std::int64_t ticks) {
    return (ticks + ticks_per_millisecond / 2) / ticks_per_millisecond;
}

} // namespace

Publisher::Publisher(const LiveSettings& settings, const std::optional<LivePlaylist>& last,
                     Clock clock, Tell tell, Tell warn)
    : settings(settings), clock(std::move(clock)), tell(std::move(tell)), warn(std::move(warn)) {
    if (last && !last->is_ended) {
        version.playlist = *last;
        const LiveSegment& newest = last->segments.back();
        version.next_date = (newest.date + newest.length) * ticks_per_millisecond;
    } else {
        // Where a process was killed, the first file of the stream that it began may have its
        // address already; the playlist was written before.
        const auto begun = readPlaylist(readSmallFile(settings.temporary()).value_or(""));
        const bool goes_on =
            begun && nextNumber(*begun) == 1 && (!last || begun->stream != last->stream);
        version.playlist.stream = goes_on ? begun->stream : std::random_device()();
    }
    version.longest_list = std::max((settings.listed + 1) * longestSegment(), // as far as is known
                                    last ? listedLength(*last) : 0);
    findFiles(last);
    // The playlist that does not list them comes first; the stream waits for that.
    if (!left.empty() && left.front().due <= this->clock() && syncFileSystem(settings.folder)) {
        deleteDue();
    }
    makeRoom();
}

/// Finds the files of this stream and of others that were here. The age of those that left is
/// counted up to the last version of the playlist: a clock that was set since then does no harm.
void Publisher::findFiles(const std::optional<LivePlaylist>& last) {
    const std::int64_t last_version = statusOf(settings.playlist()).written;
    for (const auto& [name, status] : regularFiles(settings.folder)) {
        const std::optional<Address> file = readAddress(name);
        if (!file) {
            continue;
        }
        segment_size = std::max(segment_size, status.size);
        if (last && file->stream == last->stream && file->number >= last->sequence) {
            if (last->is_ended) { // it is listed until the next stream takes its place
                version.leaving.push_back(*file);
            }
        } else if (!comesAfter(version.playlist, *file)) {
            keep(*file, last_version - status.written);
        }
    }
    std::sort(left.begin(), left.end(),
              [](const LeftFile& a, const LeftFile& b) { return a.due < b.due; });
}

/// Keeps a file that left the list `age` milliseconds ago as long as the longest list, and a
/// segment more (RFC 8216, 6.2.2). By the monotonic clock, that is never longer from now on.
void Publisher::keep(const Address& file, std::int64_t age) {
    const std::int64_t grace = version.longest_list + longestSegment();
    const std::int64_t rest = std::clamp<std::int64_t>(grace - age, 0, grace);
    left.push_back({file, clock() + std::chrono::milliseconds(rest)});
}

/// The most that a segment lasts, in milliseconds: rounded, it is the target duration.
std::int64_t Publisher::longestSegment() const {
    return 1000 * std::max<std::int64_t>(version.playlist.target_duration, settings.duration) + 500;
}

/// The address of the next segment.
std::string Publisher::nextName() const {
    return fileName({version.playlist.stream, nextNumber(version.playlist)});
}

bool Publisher::publish(FinishedSegment& segment, bool may_drop) {
    const FileStatus file = statusOf(segment.path);
    segment_size = file.size > 0 ? file.size : segment_size;
    makeRoom();
    if (!file.is_regular || file.size == 0) {
        drop(segment);
        return true;
    }
    const std::string name = nextName();
    const std::int64_t target = version.playlist.target_duration;
    Version next = with(segment);
    const std::string length = secondsText(next.playlist.segments.back().length);
    if (!show(std::move(next), &segment, "published " + name + ' ' + length)) {
        if (is_full && may_drop) {
            drop(segment);
        }
        return is_full && may_drop;
    }
    if (const auto risen = version.playlist.target_duration; target != 0 && target != risen) {
        warn(name + " lasts " + length + " s: the target duration rises from " +
             std::to_string(target) + " to " + std::to_string(risen) + '.');
    }
    has_gap = false;
    return true;
}

/// Gives up `segment`, and deletes its file.
void Publisher::drop(const FinishedSegment& segment) {
    std::ignore = ::unlink(segment.path.c_str());
    has_losses = true;
    warnOnce(has_gap, "Segments are lost: the disk was full, or they waited for too long.");
}

bool Publisher::endStream() {
    if (version.playlist.segments.empty()) {
        return true;
    }
    Version next = version;
    next.playlist.is_ended = true;
    return show(std::move(next), nullptr, "ended " + settings.playlist_name);
}

/// The version that comes after the one that viewers see, with `segment` as its last.
Publisher::Version Publisher::with(const FinishedSegment& segment) const {
    Version next = version;
    const bool is_first = next.playlist.segments.empty();
    const bool follows = segment.follows && !has_gap && !is_first;
    if (!follows) {
        next.next_date = segment.written * ticks_per_millisecond - segment.length;
    }
    if (is_first) {
        next.playlist.target_duration = settings.duration;
    }
    // Rounded like this, lengths add up to the true time, and dates agree with them.
    const std::int64_t date = milliseconds(next.next_date);
    next.next_date += segment.length;
    const LiveSegment entry = {.is_discontinuity = !follows && !is_first,
                               .date = date,
                               .length = milliseconds(next.next_date) - date};
    next.longest_list = std::max(next.longest_list, listedLength(next.playlist) + entry.length);
    const auto left_now = appendSegment(next.playlist, entry, settings.listed);
    next.leaving.insert(next.leaving.end(), left_now.begin(), left_now.end());
    return next;
}

/// Makes `next` the version that viewers see, and tells `news` of it. The file of `segment`, if
/// any, gets its last address.
///
/// The power may fail after each step. What viewers saw then stays true if a file system keeps two
/// promises: what was done before syncfs is on the medium when it returns, and after a rename that
/// is either the old file or the new one. In which order other steps get there is up to it.
bool Publisher::show(Version next, FinishedSegment* segment, const std::string& news) {
    const std::string path = settings.playlist();
    const std::string temporary = settings.temporary();
    const std::string unwritable = path + " cannot be written; trying again until it can";
    if (!writeNewFile(temporary, playlistText(next.playlist))) {
        return fail(unwritable);
    }
    // The text is there before a file has an address in a new stream: it says which stream that is.
    if (const std::string target = settings.folder + nextName(); segment != nullptr) {
        if (std::rename(segment->path.c_str(), target.c_str()) != 0) {
            return fail(segment->path + " cannot be moved to " + target + ": " +
                        std::strerror(errno));
        }
        segment->path = target;
    }
    for (const Address& file : next.leaving) { // its time begins, for later processes too
        std::error_code none;
        fs::last_write_time(settings.folder + fileName(file), fs::file_time_type::clock::now(),
                            none);
    }
    // Viewers see nothing that the power can take away again: the bytes of the segment, the address
    // that stands for them from now on, and the text that is about to become the playlist.
    if (!syncFileSystem(settings.folder) || std::rename(temporary.c_str(), path.c_str()) != 0) {
        return fail(unwritable);
    }
    version = std::move(next);
    is_failing = false;
    tell(news);
    for (const Address& file : std::exchange(version.leaving, {})) {
        keep(file, 0);
    }
    // Only a version that stays allows files to be deleted that it does not list. Until then, the
    // power may bring back the version before; its next segment has the same address again.
    if (syncFileSystem(settings.folder)) {
        deleteDue();
    }
    return true;
}

/// Warns of what could not be done, by errno, once until it can be done again. Returns false.
bool Publisher::fail(const std::string& sentence) {
    is_full = errno == ENOSPC || errno == EDQUOT;
    warnOnce(is_failing, sentence + '.');
    if (is_full && !left.empty()) {
        deleteOldest();
    }
    return false;
}

void Publisher::warnOnce(bool& is_told, const std::string& sentence) const {
    if (!std::exchange(is_told, true)) {
        warn(sentence);
    }
}

/// Makes room for two more segments as large as the last: the one that is being written, and some
/// more.
void Publisher::makeRoom() {
    std::error_code error;
    const fs::space_info space = fs::space(settings.folder, error);
    if (error || space.capacity == 0) { // without a limit
        return;
    }
    std::int64_t missing = 2 * segment_size - static_cast<std::int64_t>(space.available);
    if (missing > 0 && !left.empty()) {
        warnOnce(told_full, settings.folder + " is full: files that left the list go early.");
    }
    while (missing > 0 && !left.empty()) {
        missing -= deleteOldest();
    }
    if (missing > 0) {
        warnOnce(told_small, settings.folder + " is too small: two more segments of " +
                                 std::to_string(segment_size / 1000) + " KB do not fit.");
    }
}

void Publisher::deleteDue() {
    const Moment now = clock();
    while (!left.empty() && left.front().due <= now) {
        deleteOldest();
    }
}

/// Deletes the file that is due first. Returns its size.
std::int64_t Publisher::deleteOldest() {
    const std::string name = fileName(left.front().address);
    left.pop_front();
    const std::int64_t size = statusOf(settings.folder + name).size;
    if (::unlink((settings.folder + name).c_str()) == 0) {
        tell("deleted " + name);
    }
    return size;
}
