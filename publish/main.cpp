#include "publish/publisher.h"
#include "publish/settings.h"
#include "process/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>

namespace {

/// Ignores the signals that would end the program: only the end of its input does that.
void ignoreSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ}) {
        std::ignore = std::signal(signal, SIG_IGN);
    }
}

/// Writes `text` to `descriptor` where it fits without waiting, and drops it otherwise.
void say(int descriptor, std::string_view text) {
    pollfd output = {.fd = descriptor, .events = POLLOUT, .revents = 0};
    if (::poll(&output, 1, 0) == 1 && (output.revents & POLLOUT) != 0) {
        std::ignore = ::write(descriptor, text.data(), text.size());
    }
}

void warn(const std::string& sentence) {
    say(STDERR_FILENO, "segmenter-publish: " + sentence + '\n');
}

/// Locks a file beside the public playlist until the process ends. Returns why that cannot be, as a
/// sentence; empty when it was done.
std::string lockPlaylist(const PublishSettings& settings) {
    constexpr mode_t mode = 0600;
    const std::string path = settings.to + '.' + settings.playlist_name + ".lock";
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK, mode);
    if (descriptor < 0) {
        return path + " cannot be opened: " + std::strerror(errno) + ".";
    }
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return ::fcntl(descriptor, F_SETLK, &lock) == 0
               ? ""
               : "Another process publishes " + settings.publicPlaylist() + ".";
}

/// Waits a moment for standard input, and passes on what comes there to standard error. False at
/// its end.
bool passOnInput() {
    constexpr int milliseconds = 50;
    std::array<char, 4096> buffer{};
    pollfd input = {.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    if (::poll(&input, 1, milliseconds) != 1) {
        return true;
    }
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count > 0) {
        say(STDERR_FILENO, {buffer.data(), static_cast<std::size_t>(count)});
    }
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

} // namespace

/// Publishes what a segmenter cuts, until standard input ends. Exits 0, or 1 after the help text
/// and where not all could be published.
int main(int argc, char** argv) {
    fillStandardDescriptors();
    ignoreSignals();
    PublishSettings settings;
    if (!settings.parseOptions(argc, const_cast<const char**>(argv))) {
        return 1;
    }
    std::string refusal = settings.refusal();
    if (refusal.empty()) {
        refusal = lockPlaylist(settings);
    }
    if (!refusal.empty()) {
        warn(refusal);
        return 1;
    }

    Publisher publisher(
        settings, std::chrono::steady_clock::now(),
        [](const std::string& line) { say(STDOUT_FILENO, line + '\n'); }, warn);
    bool is_over = false;
    bool is_done = true;
    while (!is_over) {
        is_over = !passOnInput();
        is_done = publisher.look(std::chrono::steady_clock::now(), is_over);
    }
    return is_done ? 0 : 1;
}
