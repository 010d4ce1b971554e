#include "segmenter/packet_input.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <tuple>

namespace {

/// True when a failed read may succeed later. If the input does not block, first waits for data,
/// or for a signal, whose handler may have ended the input.
bool maySucceedLater() {
    if (errno == EAGAIN) {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        std::ignore = ::poll(&input, 1, -1);
        return true;
    }
    return errno == EINTR;
}

} // namespace

bool PacketInput::read() {
    filled -= whole;
    std::memmove(buffer.data(), end(), filled); // less than a packet
    whole = 0;
    while (filled < packet_size) {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data() + filled, buffer.size() - filled);
        if (count > 0) {
            filled += static_cast<std::size_t>(count);
        } else if (count == 0 || !maySucceedLater()) {
            return false;
        }
    }
    whole = filled / packet_size * packet_size;
    return true;
}
