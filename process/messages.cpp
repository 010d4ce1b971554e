#include "process/messages.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <mutex>
#include <tuple>

namespace {

// Set once. NOLINTBEGIN(*-avoid-non-const-global-variables)
int output = STDOUT_FILENO;
int errors = STDERR_FILENO;
std::string prefix;
// NOLINTEND(*-avoid-non-const-global-variables)

/// The file at `descriptor`, opened once more, so that no write to it waits and others that share
/// `descriptor` notice nothing; `descriptor` itself where that is not possible.
int openOnceMore(int descriptor) {
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0 || S_ISREG(status.st_mode)) {
        return descriptor; // with its place in the file
    }
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    const int other = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    return other < 0 ? descriptor : other; // a socket, or someone else's terminal
}

void say(int descriptor, const std::string& text) {
    static std::mutex mutex; // threads in turn: not every system keeps their writes to a file apart
    const std::lock_guard lock(mutex);
    pollfd file = {.fd = descriptor, .events = POLLOUT, .revents = 0};
    if (::poll(&file, 1, 0) == 1 && (file.revents & POLLOUT) != 0) {
        std::ignore = ::write(descriptor, text.data(), text.size());
    }
}

} // namespace

void openMessages(const std::string& program) {
    output = openOnceMore(STDOUT_FILENO);
    errors = openOnceMore(STDERR_FILENO);
    prefix = program + ": ";
}

int errorDescriptor() { return errors; }

void tell(const std::string& line) { say(output, line + '\n'); }

void warn(const std::string& sentence) { say(errors, prefix + sentence + '\n'); }
