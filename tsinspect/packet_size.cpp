#include "tsinspect/packet_size.h"

#include "tsinspect/ts.h"

std::optional<std::size_t> findPackets(const std::string& bytes, std::size_t size) {
    constexpr std::size_t enough = 8;
    for (std::size_t offset = 0; offset < size; ++offset) {
        std::size_t at = offset;
        while (at < bytes.size() && static_cast<unsigned char>(bytes[at]) == sync_byte) {
            at += size;
        }
        if (at >= bytes.size() && at > offset + enough * size) {
            return offset;
        }
    }
    return std::nullopt;
}
