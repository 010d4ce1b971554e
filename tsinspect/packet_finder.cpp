#include "tsinspect/packet_finder.h"

/// Moves `at` to the next packet in `bytes`, and sets the distance. Returns false where more bytes
/// are needed, with `at` where the search has to go on.
bool PacketFinder::findDistance(std::span<const char> bytes, std::size_t& at) {
    const std::size_t size = bytes.size();
    const std::size_t needed = is_over ? packet_size : search_size;
    for (; size - at >= needed; ++at) {
        for (const std::size_t candidate :
             {std::size_t{packet_size}, std::size_t{192}, std::size_t{longest_distance}}) {
            std::size_t found = 0;
            while (found < enough_packets && at + found * candidate < size &&
                   static_cast<unsigned char>(bytes[at + found * candidate]) == sync_byte) {
                ++found;
            }
            if (found == enough_packets || at + found * candidate >= size) {
                distance = candidate;
                return true;
            }
        }
    }
    return false;
}
