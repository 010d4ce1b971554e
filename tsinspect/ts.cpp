#include "tsinspect/ts.h"

#include "segmenter/options.h"

#include <string_view>

namespace {

constexpr std::uint32_t ffmpeg_video_pid = 0x100;
constexpr std::uint32_t gst_video_pid = 0x40;

/// packet_start_code_prefix and stream_id of video stream 0 (ISO/IEC 13818-1, 2.4.3.6).
constexpr std::string_view video_start_code("\x00\x00\x01\xE0", 4);

bool mayCarryVideo(std::int32_t mux_type, std::uint32_t pid) {
    switch (mux_type) {
    case mux_ffmpeg:
        return pid == ffmpeg_video_pid;
    case mux_gst:
        return pid == gst_video_pid;
    default:
        return true;
    }
}

} // namespace

int syncPES(Options& settings, TS& header, char* packet) {
    if (header.packet.payload_unit_start_indicator == 0 ||
        !mayCarryVideo(settings.mux_type, packetPID(header))) {
        return -1;
    }
    const std::size_t offset = std::string_view(packet, packet_size).find(video_start_code);
    return offset == std::string_view::npos ? -1 : static_cast<int>(offset);
}
