#include "segmenter/packet_input.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

bool PacketInput::read() {
    filled -= whole;
    std::memmove(buffer.data(), end(), filled); // less than a packet
    whole = 0;
    while (filled < packet_size) {
        const ssize_t count = ::read(STDIN_FILENO, buffer.data() + filled, buffer.size() - filled);
        if (count < 0 && errno == EINTR) {
            continue; // a signal came, whose handler may have ended the input
        }
        if (count <= 0) {
            return false;
        }
        filled += static_cast<std::size_t>(count);
    }
    whole = filled / packet_size * packet_size;
    return true;
}
