#include "process/output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <tuple>

int writeAll(int descriptor, std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (errno == EAGAIN) {
            pollfd output = {.fd = descriptor, .events = POLLOUT, .revents = 0};
            std::ignore = ::poll(&output, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}
