#include "live/files.h"
#include "live/leftovers.h"
#include "live/publisher.h"
#include "live/relay.h"
#include "live/run.h"
#include "process/messages.h"
#include "process/signals.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <tuple>

namespace fs = std::filesystem;
using namespace std::literals;

namespace {

/// Makes the folders where they are missing, the name of the public one absolute, and locks the
/// private one until this process and its segmenter have ended; it waits ten seconds for those
/// before them. Returns the lock, a descriptor, or -1 after a warning.
int openFolders(LiveSettings& settings) {
    constexpr mode_t private_mode = 0700; // no server shows what is not finished
    std::error_code error;
    fs::create_directories(settings.folder, error);
    const fs::path path = fs::canonical(settings.folder, error); // a link may be changed
    if (error) {
        warn(settings.folder + " cannot be used: " + error.message() + '.');
        return -1;
    }
    settings.folder = path / "";
    const std::string run = path / ".run";
    std::ignore = ::mkdir(run.c_str(), private_mode);
    const int lock = ::open(run.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (lock < 0) {
        warn(run + " cannot be used: " + std::strerror(errno) + '.');
        return -1;
    }
    for (int tries = 100; ::flock(lock, LOCK_EX | LOCK_NB) != 0; --tries) {
        if (tries == 0) {
            warn(settings.folder + " is in use by another segmenter-live, or by its segmenter.");
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return lock;
}

/// Reads the playlist that is in the public folder, if any, into `last`. False, after a warning,
/// where it cannot be read: that is no reason to begin another stream.
bool readLast(const LiveSettings& settings, std::optional<LivePlaylist>& last) {
    const std::string path = settings.playlist();
    const std::optional<std::string> text = readSmallFile(path);
    if (!text && errno != ENOENT) {
        warn(path + " cannot be read: " + std::strerror(errno) + '.');
        return false;
    }
    last = readPlaylist(text.value_or(""));
    if (text && !last) {
        warn(path + " is not a playlist of this program: a new stream takes its place.");
    }
    return true;
}

/// Deletes all that is in the private folder. False, after a warning, where something stays.
bool emptyRunFolder(const LiveSettings& settings) {
    std::error_code error;
    for (fs::directory_iterator entry(settings.runFolder(), error), end; !error && entry != end;
         entry.increment(error)) {
        fs::remove_all(entry->path(), error);
    }
    if (error) {
        warn(settings.runFolder() + " cannot be emptied: " + error.message() + '.');
    }
    return !error;
}

/// Publishes what the last run left, and then this one, as publishRun() does.
bool publish(const LiveSettings& settings, int stream, int reports, int lock) {
    std::optional<LivePlaylist> last;
    if (!readLast(settings, last)) {
        return false;
    }
    Publisher publisher(settings, last, std::chrono::steady_clock::now, tell, warn);
    if (!publishLeftovers(settings, publisher, warn)) {
        warn("What the last run left cannot be published, so no run begins.");
        return false;
    }
    return emptyRunFolder(settings) && publishRun(settings, publisher, stream, reports, lock);
}

/// Reads the stream in this process, and publishes it in another, so that a slow medium does not
/// hold up the stream. Returns the exit status.
int run(const LiveSettings& settings, int lock) {
    std::array<int, 2> stream{};
    std::array<int, 2> reports{};
    if (::pipe2(stream.data(), O_CLOEXEC) != 0 || ::pipe2(reports.data(), O_CLOEXEC) != 0) {
        warn(std::string("No pipe can be made: ") + std::strerror(errno) + '.');
        return 1;
    }
    const pid_t publisher = ::fork();
    if (publisher == 0) {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            std::ignore = std::signal(signal, SIG_IGN); // the end of the stream ends it
        }
        ::close(stream[1]);
        ::close(reports[1]);
        ::close(STDIN_FILENO);
        fillStandardDescriptors();
        return publish(settings, stream[0], reports[0], lock) ? 0 : 1;
    }
    ::close(stream[0]);
    ::close(reports[0]);
    relay(settings, stream[1], reports[1]);
    ::close(stream[1]);
    ::close(reports[1]);
    int status = 1;
    while (::waitpid(publisher, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? 0 : 1;
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
        std::cout << liveUsage();
        return 0;
    }
    LiveSettings settings;
    if (const std::string refusal = readArguments(settings, argc - 1, argv + 1); !refusal.empty()) {
        warn(refusal);
        return exit_usage;
    }
    const int lock = openFolders(settings);
    return lock < 0 ? 1 : run(settings, lock);
}
