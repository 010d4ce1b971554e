#include "live/publisher.h"
#include "live/run.h"
#include "process/files.h"
#include "process/input.h"
#include "process/messages.h"
#include "process/signals.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

namespace fs = std::filesystem;
using namespace std::literals;

namespace {

/// What stands in the way at `path`, by errno.
[[noreturn]] void refuse(const std::string& path) {
    throw fs::filesystem_error("", path, std::error_code(errno, std::generic_category()));
}

/// Makes the public folder where it is missing, its name absolute, and locks it until this process
/// and its segmenter have ended; it waits ten seconds for those before them. Returns the lock, a
/// descriptor, or -1 after a warning.
int lockFolder(LiveSettings& settings) {
    fs::create_directories(settings.folder);
    settings.folder = fs::canonical(settings.folder) / ""; // a link may be changed
    const int lock = ::open(settings.folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock < 0) {
        refuse(settings.folder);
    }
    for (int tries = 100; ::flock(lock, LOCK_EX | LOCK_NB) != 0; --tries) {
        if (tries == 0 || hasSignalEndedInput()) {
            warn(settings.folder + " is in use by another segmenter-live, or by its segmenter.");
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (fs::is_symlink(settings.runFolder())) {
        errno = ELOOP;
        refuse(settings.runFolder());
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
        const int lock = lockFolder(settings);
        if (lock < 0) {
            return 1;
        }
        Publisher publisher(settings, readLast(settings), std::chrono::steady_clock::now, tell,
                            warn);
        return publishRun(settings, publisher, input, lock) ? 0 : 1;
    } catch (const fs::filesystem_error& error) {
        warn(error.path1().string() + " cannot be used: " + error.code().message() + '.');
    }
    return 1;
}
