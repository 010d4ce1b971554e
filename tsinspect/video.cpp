#include "tsinspect/video.h"

#include "tsinspect/adaptation_field.h"
#include "tsinspect/pts.h"

#include <cstddef>
#include <string_view>

namespace {

constexpr std::string_view start_code("\0\0\1", 3);

unsigned byteAt(const char* packet, std::size_t offset) {
    return static_cast<unsigned char>(packet[offset]);
}

} // namespace

std::uint64_t decodeDTS(const char* packet, int offset, std::uint64_t pts) {
    constexpr std::size_t flags = 7;
    constexpr unsigned has_dts = 0x40;
    constexpr int behind_pts = 5;
    const bool is_there = (byteAt(packet, static_cast<std::size_t>(offset) + flags) & has_dts) != 0;
    return is_there && holdsPTS(offset + behind_pts) ? decodePTS(packet + offset + behind_pts)
                                                     : pts;
}

bool looksLikeKeyFrame(const char* packet, int offset) {
    constexpr unsigned type_mask = 0x1F;
    constexpr unsigned idr_slice = 5;
    constexpr unsigned parameter_set = 7;
    const std::string_view bytes(packet, packet_size - 1); // a byte follows each start code
    std::size_t at = static_cast<std::size_t>(offset) + start_code.size();
    while ((at = bytes.find(start_code, at)) != std::string_view::npos) {
        at += start_code.size();
        const unsigned type = byteAt(packet, at) & type_mask;
        if (type == idr_slice || type == parameter_set) {
            return true;
        }
    }
    return false;
}

bool hasOtherStreamId(const TS& header, const char* packet) {
    constexpr unsigned known_id = 0xE0;
    const auto payload = static_cast<std::size_t>(payloadOffset(header, packet));
    const std::size_t id = payload + start_code.size();
    return header.packet.payload_unit_start_indicator != 0 && id < packet_size &&
           std::string_view(packet, packet_size).substr(payload).starts_with(start_code) &&
           byteAt(packet, id) != known_id && (byteAt(packet, id) & 0xF0U) == known_id;
}
