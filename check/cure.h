#pragma once

#include "check/stream_reader.h"
#include "check/text.h"
#include "segmenter/options.h"
#include "tsinspect/muxer.h"

#include <iterator>
#include <ostream>
#include <string>
#include <vector>

/// What to do about a stream that one muxer made: lines that begin with the program they are for.
/// Text in braces is filled in.
struct MuxerAdvice {
    const char* recipe;           ///< encodes and muxes as it should be
    const char* insist;           ///< added to the recipe where something else overrides it
    bool is_remuxed;              ///< FFmpeg's segment muxer has to follow
    const char* small_packets;    ///< writes packets of 188 bytes
    const char* transport_stream; ///< writes a transport stream at all
};

/// By Options::mux_type.
inline constexpr MuxerAdvice muxer_advice[] = {
    {.recipe =
         "ffmpeg: -r {rate} -fps_mode cfr -bf 0 -g {frames} -sc_threshold 0 -sdt_period {period}"
         " -mpegts_flags +pat_pmt_at_frames{first PID}",
     .insist = " -muxrate 1 -force_key_frames expr:0"
               " -x264-params bframes=0:keyint={frames}:scenecut=0",
     .is_remuxed = false,
     .small_packets = "ffmpeg: -mpegts_m2ts_mode 0",
     .transport_stream = "ffmpeg: -f mpegts"},
    {.recipe = "gstreamer: ... ! videorate ! video/x-raw,format=I420,framerate={fraction} ! x264enc"
               " bframes=0 key-int-max={frames} option-string=scenecut=0 ! h264parse ! mux.",
     .insist = "",
     .is_remuxed = true,
     .small_packets = "gstreamer: mpegtsmux m2ts-mode=false",
     .transport_stream = "gstreamer: mpegtsmux"},
};
static_assert(std::size(muxer_advice) == std::size(muxer_pids));

/// What fixes all findings together.
struct Cure {
    const MuxerAdvice* advice = nullptr; ///< for the muxer that made the stream
    Options settings{};                  ///< for the segmenter
    bool aligns = false;                 ///< the muxer's recipe is needed
    bool encodes = false;                ///< and only works if the video is encoded again
    bool remuxes = false;                ///< FFmpeg's segment muxer is enough
    std::vector<std::string> lines{};    ///< more advice, each line for one program
};

/// What stands in the braces of MuxerAdvice for segments of `duration` seconds, at least 1: the
/// rate, also as a fraction, and how many frames and seconds lie between key frames. A cut is due
/// only after the duration has passed, so key frames come `more` frames, at least 1, after that.
Values recipeValues(const FrameRate& rate, std::int32_t duration, std::uint64_t more = 1);

/// Writes what to do about the stream that `facts` describes, cut with `settings`; nothing if there
/// is nothing to do.
void writeCure(std::ostream& out, const Cure& cure, const StreamFacts& facts,
               const Options& settings);
