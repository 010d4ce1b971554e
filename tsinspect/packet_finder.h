#pragma once

#include "tsinspect/ts.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// Finds the packets of a transport stream in bytes that may begin, or be damaged, anywhere.
///
/// Packets may also have 192 bytes, with a timestamp in front (M2TS), or 204, with error correction
/// behind (ETSI EN 300 429, 4.4.2): of those, too, the 188 bytes from the sync byte on are given.
class PacketFinder {
public:
    std::uint64_t packets = 0; ///< found so far

    /// Takes the next bytes, and calls `visit` with each packet that is whole, a const char* to 188
    /// bytes that are valid during the call. Packets after a place without a sync byte wait until
    /// four more follow.
    template <typename Visit>
    void take(std::span<const char> bytes, Visit visit) {
        while (!bytes.empty()) {
            if (rest.empty()) {
                bytes = bytes.subspan(visitPackets(bytes, visit));
                rest.assign(bytes.begin(), bytes.end());
                return;
            }
            // Only as much is copied as finishes what was left.
            const std::size_t before = rest.size();
            const std::size_t more = std::min(bytes.size(), search_size);
            rest.append(bytes.data(), more);
            const std::size_t used = visitPackets(rest, visit);
            if (used >= before) {
                bytes = bytes.subspan(used - before);
                rest.clear();
            } else {
                bytes = bytes.subspan(more);
                rest.erase(0, used);
            }
        }
    }

    /// After the last bytes: calls `visit` with the packets that were still waiting.
    template <typename Visit>
    void end(Visit visit) {
        is_over = true;
        visitPackets(rest, visit);
    }

    /// The distance of packets in bytes, 188, 192 or 204; 0 where none are found.
    [[nodiscard]] std::size_t size() const { return distance; }

private:
    static constexpr std::size_t longest_distance = 204;
    static constexpr std::size_t enough_packets = 5; // fewer could be chance
    static constexpr std::size_t search_size = enough_packets * longest_distance;

    /// Visits the packets in `bytes`. Returns how many bytes it is done with.
    template <typename Visit>
    std::size_t visitPackets(std::span<const char> bytes, Visit visit) {
        std::size_t at = 0;
        for (;;) {
            const std::size_t gap = std::min(bytes.size() - at, to_skip);
            to_skip -= gap;
            at += gap;
            if (distance == 0 && !findDistance(bytes, at)) {
                return at;
            }
            while (bytes.size() - at >= distance && isSyncByte(bytes[at])) {
                visit(&bytes[at]);
                ++packets;
                at += distance;
            }
            if (bytes.size() - at < packet_size) {
                return at;
            }
            if (isSyncByte(bytes[at])) { // the bytes between it and the next packet are missing
                visit(&bytes[at]);
                ++packets;
                at += packet_size;
                to_skip = distance - packet_size;
            } else {
                distance = 0;
            }
        }
    }

    static bool isSyncByte(char byte) { return static_cast<unsigned char>(byte) == sync_byte; }

    bool findDistance(std::span<const char> bytes, std::size_t& at);

    std::string rest;         // bytes that were taken and are not done with, less than search_size
    std::size_t distance = 0; // from one packet to the next; 0 while they are searched for
    std::size_t to_skip = 0;  // bytes between two packets
    bool is_over = false;
};
