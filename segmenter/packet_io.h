#pragma once

#include "tsinspect/ts.h"

#include <ext/stdio_filebuf.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <istream>

using PacketBytes = std::array<char, packet_size>;

/// Bytes of the buffers between the packets and the kernel: what a pipe holds.
inline constexpr std::size_t io_buffer_size = std::size_t{64} * 1024;

/// Standard input as a sequence of packets.
///
/// Its buffer is filled by single reads of what is there, so that no packet waits for the next.
class PacketInput : private __gnu_cxx::stdio_filebuf<char> {
public:
    PacketInput() : stdio_filebuf(STDIN_FILENO, std::ios::in | std::ios::binary, io_buffer_size) {}

    /// Reads the next packet; false at the end of the input, which may come within a packet, and
    /// after a read error.
    bool read(PacketBytes& packet) {
        if (egptr() - gptr() < packet_size) {
            return static_cast<bool>(stream.read(packet.data(), packet_size));
        }
        std::memcpy(packet.data(), gptr(), packet_size);
        gbump(packet_size);
        return true;
    }

private:
    std::istream stream{this}; // turns what the buffer throws on a read error into a state
};

/// Appends `packet` to `file`, as file.write() does it, without the cost of a sentry object.
/// After a failure the file takes nothing more until it is opened anew.
inline void appendPacket(std::ofstream& file, const PacketBytes& packet) {
    if (file && file.rdbuf()->sputn(packet.data(), packet_size) != packet_size) {
        file.setstate(std::ios::badbit);
    }
}
