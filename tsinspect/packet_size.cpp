#include "tsinspect/packet_size.h"

bool SyncBytes::take(const char* packet) {
    constexpr std::size_t enough_bytes = 4096;
    const bool is_there = static_cast<unsigned char>(*packet) == sync_byte;
    if (!is_there && missing++ == 0) {
        first_missing = packets;
    }
    ++packets;
    if (missing > 0 && bytes.size() < enough_bytes) {
        bytes.append(packet, packet_size);
    }
    return is_there;
}

PacketRun SyncBytes::findPackets() const {
    constexpr std::size_t enough = 8; // fewer could be chance
    if (missing == 0) {
        return {.size = packet_size};
    }
    for (const std::size_t size : {std::size_t{packet_size}, std::size_t{192}, std::size_t{204}}) {
        for (std::size_t offset = 0; offset < size; ++offset) {
            std::size_t at = offset;
            while (at < bytes.size() && static_cast<unsigned char>(bytes[at]) == sync_byte) {
                at += size;
            }
            if (at >= bytes.size() && at > offset + enough * size) {
                return {.size = size, .offset = offset};
            }
        }
    }
    return {};
}
