#include "tsinspect/video.h"

#include "segmenter/options.h"
#include "tsinspect/adaptation_field.h"
#include "tsinspect/muxer.h"

#include <cstddef>
#include <string_view>

namespace {

constexpr std::string_view start_code("\0\0\1", 3);

unsigned byteAt(const char* packet, std::size_t offset) {
    return static_cast<unsigned char>(packet[offset]);
}

/// The decoding timestamp of the PES header that begins at `offset`. Where there is none, it is the
/// same as the presentation timestamp, `pts`.
std::uint64_t decodeDTS(const char* packet, int offset, std::uint64_t pts) {
    constexpr std::size_t flags = 7;
    constexpr unsigned has_dts = 0x40;
    constexpr int pts_size = 5;
    const bool is_there = (byteAt(packet, static_cast<std::size_t>(offset) + flags) & has_dts) != 0;
    return is_there && holdsPTS(offset + pts_size) ? decodePTS(packet + offset + pts_size) : pts;
}

/// True if a sequence parameter set or an IDR slice of H.264 (ISO/IEC 14496-10, 7.4.1), as only key
/// frames have, follows the PES header that begins at `offset`.
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

/// True if a video PES packet with a stream id of 0xE1 to 0xEF begins in the packet.
bool hasOddId(const TS& header, const char* packet) {
    constexpr unsigned known_id = 0xE0;
    const auto payload = static_cast<std::size_t>(payloadOffset(header, packet));
    const std::size_t id = payload + start_code.size();
    return header.packet.payload_unit_start_indicator != 0 && id < packet_size &&
           std::string_view(packet, packet_size).substr(payload).starts_with(start_code) &&
           byteAt(packet, id) != known_id && (byteAt(packet, id) & 0xF0U) == known_id;
}

} // namespace

std::optional<Video::Frame> Video::take(std::int32_t mux_type, TS& header, char* packet) {
    Options any_muxer;
    any_muxer.mux_type = -1; // its video may be on any PID
    const int offset = syncPES(any_muxer, header, packet);
    has_odd_id |= offset < 0 && hasOddId(header, packet);
    if (!holdsPTS(offset)) {
        return std::nullopt;
    }
    const std::uint32_t its_pid = packetPID(header);
    const MuxerPIDs* muxer = findMuxer(mux_type);
    const bool its_elsewhere = muxer != nullptr && its_pid != muxer->video;
    if (time.frames == 0 || (is_elsewhere && !its_elsewhere)) {
        time = {};
        pid = its_pid;
        is_elsewhere = its_elsewhere;
    }
    if (its_pid != pid) {
        return std::nullopt;
    }
    const std::uint64_t pts = decodePTS(packet + offset);
    const bool is_key_frame = readAdaptationField(header, packet).random_access_indicator;
    unmarked += !is_key_frame && looksLikeKeyFrame(packet, offset) ? 1 : 0;
    const Timeline::Step step = time.add(pts, decodeDTS(packet, offset, pts), is_key_frame);
    return Frame{.pts = pts, .is_key_frame = is_key_frame, .step = step};
}
