#include "segmenter/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <tuple>

namespace {

constexpr const char* null_device = "/dev/null";
constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): all that a handler can reach
volatile std::sig_atomic_t null_input = -1; // a descriptor of the null device

} // namespace

extern "C" {
/// Puts the null device in the place of standard input. Unlike a flag, this leaves no gap between a
/// check and the read behind it: a read that comes later, or that was waiting and begins again,
/// finds the end.
static void endInput(int /*signal*/) {
    const int error = errno;
    ::dup2(null_input, STDIN_FILENO);
    for (const int signal : ending_signals) {
        std::ignore = std::signal(signal, SIG_DFL);
    }
    errno = error;
}
}

void fillStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            std::ignore = ::open(null_device, O_RDWR); // takes the lowest free number, this one
        }
    }
}

void endInputOnSignals() {
    null_input = ::open(null_device, O_RDONLY | O_CLOEXEC);

    struct sigaction action = {};
    action.sa_handler = endInput;
    action.sa_flags = SA_RESTART; // a write to a segment file goes on
    ::sigemptyset(&action.sa_mask);
    for (const int signal : ending_signals) {
        ::sigaddset(&action.sa_mask, signal); // a second one waits until it can end the process
    }
    for (const int signal : ending_signals) {
        struct sigaction before = {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}
