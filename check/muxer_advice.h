#pragma once

/// What helps where one muxer made the stream: lines that name the program they are for. In braces
/// stands what depends on the stream (recipeValues in check/cure.h).
struct MuxerAdvice {
    const char* recipe;           ///< encodes and muxes as it should be
    const char* insist;           ///< more of it, for where something else overrides it
    bool is_remuxed;              ///< what follows the recipe goes through FFmpeg's segment muxer
    const char* small_packets;    ///< writes packets of 188 bytes
    const char* transport_stream; ///< writes a transport stream at all
    const char* source;           ///< loses fewer packets that come over UDP
};

/// By Options::mux_type.
inline constexpr MuxerAdvice muxer_advice[] = {
    {.recipe =
         "ffmpeg: -r {rate} -fps_mode cfr -bf 0 -g {frames} -sc_threshold 0 -sdt_period {period}"
         " -mpegts_flags +pat_pmt_at_frames",
     .insist = " -muxrate 1 -force_key_frames expr:0"
               " -x264-params bframes=0:keyint={frames}:scenecut=0",
     .is_remuxed = false,
     .small_packets = "ffmpeg: -mpegts_m2ts_mode 0",
     .transport_stream = "ffmpeg: -f mpegts",
     .source = "ffmpeg: -i 'udp://...?buffer_size=4000000'"},
    {.recipe = "gstreamer: ... ! videorate ! video/x-raw,format=I420,framerate={fraction} ! x264enc"
               " bframes=0 key-int-max={frames} option-string=scenecut=0 ! h264parse ! mux.",
     .insist = "",
     .is_remuxed = true,
     .small_packets = "gstreamer: mpegtsmux m2ts-mode=false",
     .transport_stream = "gstreamer: mpegtsmux",
     .source = "gstreamer: udpsrc buffer-size=4000000"},
};
