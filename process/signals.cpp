#include "process/signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <initializer_list>
#include <tuple>

namespace {

constexpr auto ending_signals = {SIGINT, SIGTERM, SIGHUP};
constexpr const char* null_device = "/dev/null";

// All that a signal handler can reach.
// NOLINTBEGIN(cppcoreguidelines-avoid-non-const-global-variables)
volatile std::sig_atomic_t null_input = -1; // a descriptor of the null device
volatile std::sig_atomic_t has_ended = 0;   // the input, by a signal
timespec first_signal = {};                 // when that came
// NOLINTEND(cppcoreguidelines-avoid-non-const-global-variables)

/// True when so little time has passed since the first signal that this one is the same, sent
/// twice: a terminal that is closed, timeout and systemd do that.
bool isRepeated() {
    constexpr long repeat_milliseconds = 250;
    timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return (now.tv_sec - first_signal.tv_sec) * 1000L +
               (now.tv_nsec - first_signal.tv_nsec) / 1000000L <
           repeat_milliseconds;
}

} // namespace

extern "C" {
/// Puts the null device in place of standard input. Unlike a flag, this leaves no gap between a
/// check and the read after it: a read that comes later, or that was waiting and begins again,
/// finds the end. A second signal then has its usual effect.
static void endInput(int signal) {
    const int error = errno;
    if (has_ended == 0) {
        has_ended = 1;
        ::clock_gettime(CLOCK_MONOTONIC, &first_signal);
        ::dup2(null_input, STDIN_FILENO);
    } else if (!isRepeated()) {
        if (::getpid() == 1) { // of a container, where the kernel ignores the usual effect
            constexpr int exit_signal = 128;
            ::_exit(exit_signal + signal);
        }
        std::ignore = std::signal(signal, SIG_DFL);
        std::ignore = std::raise(signal); // comes once this handler has returned
    }
    errno = error;
}

/// Unlike SIG_IGN, a handler is not inherited by the programs that this one starts.
static void doNothing(int /*signal*/) {}
}

namespace {

/// Sets a handler for `signals`, which runs for one at a time. Ignored signals stay ignored.
void handle(std::initializer_list<int> signals, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART; // a write to a segment file goes on
    ::sigemptyset(&action.sa_mask);
    for (const int signal : signals) {
        ::sigaddset(&action.sa_mask, signal);
    }
    for (const int signal : signals) {
        struct sigaction before = {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace

void fillStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            std::ignore = ::open(null_device, O_RDWR); // takes the lowest free number, this one
        }
    }
}

void surviveFailedWrites() { handle({SIGPIPE, SIGXFSZ}, doNothing); }

void endInputOnSignals() {
    null_input = ::open(null_device, O_RDONLY | O_CLOEXEC);
    if (null_input >= 0) { // else signals can only do what they always did
        handle(ending_signals, endInput);
    }
}

bool hasSignalEndedInput() { return has_ended != 0; }

void holdBackEndingSignals() {
    sigset_t set = {};
    ::sigemptyset(&set);
    for (const int signal : ending_signals) {
        ::sigaddset(&set, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}
