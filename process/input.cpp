#include "process/input.h"

#include "process/signals.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

Input::Input() : original(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)) {
    endInputOnSignals();
}

std::optional<std::size_t> Input::read(std::span<char> buffer) {
    constexpr std::size_t largest_pipe = 1U << 20U; // a source that does not stop writes on
    ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    pollfd input = {.fd = original, .events = POLLIN, .revents = 0};
    if (count == 0 && drained < largest_pipe && ::poll(&input, 1, 0) == 1) {
        count = ::read(original, buffer.data(), buffer.size());
        drained += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(
        std::max<ssize_t>(count, 0)); // nothing more comes after an error
}
