#include "tsinspect/ts.h"

#include "segmenter/options.h"
#include "tsinspect/muxer.h"

#include <string_view>

namespace {

/// packet_start_code_prefix and stream_id of video stream 0 (ISO/IEC 13818-1, 2.4.3.6).
constexpr std::string_view video_start_code("\x00\x00\x01\xE0", 4);

} // namespace

int syncPES(Options& settings, TS& header, char* packet) {
    if (header.packet.payload_unit_start_indicator == 0) {
        return -1;
    }
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    if (muxer != nullptr && packetPID(header) != muxer->video) {
        return -1;
    }
    const std::size_t offset = std::string_view(packet, packet_size).find(video_start_code);
    return offset == std::string_view::npos ? -1 : static_cast<int>(offset);
}
