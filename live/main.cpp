#include "live/files.h"
#include "live/leftovers.h"
#include "live/publisher.h"
#include "live/relay.h"
#include "live/run.h"
#include "process/input.h"
#include "process/messages.h"
#include "process/signals.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <future>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <tuple>

namespace fs = std::filesystem;
using namespace std::literals;

namespace {

/// What stands in the way at `path`, by errno.
[[noreturn]] void refuse(const std::string& path) {
    throw fs::filesystem_error("", path, std::error_code(errno, std::generic_category()));
}

/// Makes the folders where they are missing, the name of the public one absolute, and locks the
/// private one until this process and its segmenter have ended; it waits ten seconds for those
/// before them. Returns the lock, a descriptor, or -1 after a warning.
int openFolders(LiveSettings& settings) {
    constexpr mode_t private_mode = 0700; // no server shows what is not finished
    fs::create_directories(settings.folder);
    const fs::path path = fs::canonical(settings.folder); // a link may be changed
    settings.folder = path / "";
    const std::string run = path / ".run";
    if (::mkdir(run.c_str(), private_mode) != 0 && errno != EEXIST) {
        refuse(run);
    }
    const int lock = ::open(run.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (lock < 0) {
        refuse(run);
    }
    std::ignore = ::fchmod(lock, private_mode); // if others made it
    for (int tries = 100; ::flock(lock, LOCK_EX | LOCK_NB) != 0; --tries) {
        if (tries == 0 || hasSignalEndedInput()) {
            warn(settings.folder + " is in use by another segmenter-live, or by its segmenter.");
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return lock;
}

/// The playlist that is in the public folder, if any. One that cannot be read is no reason to begin
/// another stream.
std::optional<LivePlaylist> readLast(const LiveSettings& settings) {
    const std::optional<std::string> text = readSmallFile(settings.playlist());
    if (!text && errno != ENOENT) {
        refuse(settings.playlist());
    }
    auto last = readPlaylist(text.value_or(""));
    if (text && !last) {
        warn(settings.playlist() +
             " is not a playlist of this program: a new stream takes its place.");
    }
    return last;
}

/// Publishes what the last run left, and makes the private folder empty for the next one. False,
/// after a warning, where that fails.
bool clear(const LiveSettings& settings, Publisher& publisher) {
    if (!publishLeftovers(settings, publisher, warn)) {
        warn("What the last run left cannot be published, so no run begins.");
        return false;
    }
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(settings.runFolder(), error)) {
        fs::remove_all(entry, error);
        if (error) {
            warn(entry.path().string() + " cannot be deleted: " + error.message() + '.');
            return false;
        }
    }
    return true;
}

/// Reads the stream, and publishes it in another thread, so that a slow medium does not hold up
/// the stream. Returns true after a clean end when all was published.
bool run(const LiveSettings& settings, Input& input, int lock) {
    Publisher publisher(settings, readLast(settings), std::chrono::steady_clock::now, tell, warn);
    std::array<int, 2> stream{};
    if (::pipe2(stream.data(), O_CLOEXEC) != 0) {
        refuse("A pipe");
    }
    SegmentQueue queue;
    auto published = std::async(std::launch::async, [&] {
        holdBackEndingSignals(); // the end of the stream ends it, and its segmenter
        if (clear(settings, publisher)) {
            return publishRun(settings, publisher, stream[0], lock, queue);
        }
        ::close(stream[0]); // nobody reads the stream
        return false;
    });
    relay(settings, input, stream[1], queue);
    ::close(stream[1]);
    return published.get();
}

} // namespace

/// Publishes the stream on standard input as a live stream that goes on from run to run. Exits 0
/// after the end of the input, 1 where something failed, 2 where the command line makes no sense.
int main(int argc, char** argv) {
    constexpr int exit_usage = 2;
    fillStandardDescriptors();
    surviveFailedWrites();
    openMessages("segmenter-live");
    if (std::find(argv + 1, argv + argc, "--help"sv) != argv + argc) {
        return std::fputs(liveUsage().c_str(), stdout) < 0 ? 1 : 0;
    }
    LiveSettings settings;
    if (const std::string refusal = readArguments(settings, argc - 1, argv + 1); !refusal.empty()) {
        warn(refusal);
        return exit_usage;
    }
    try {
        Input input;
        const int lock = openFolders(settings);
        return lock >= 0 && run(settings, input, lock) ? 0 : 1;
    } catch (const fs::filesystem_error& error) {
        warn(error.path1().string() + " cannot be used: " + error.code().message() + '.');
    }
    return 1;
}
