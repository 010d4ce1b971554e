#pragma once

#include "check/muxer_advice.h"
#include "check/stream_facts.h"
#include "check/text.h"
#include "segmenter/options.h"

#include <ostream>
#include <string>
#include <vector>

/// A cut that falls due fewer ticks than this before a cut packet comes may miss it.
inline constexpr std::int64_t cut_leeway = ticks_per_second / 50;

/// What fixes all findings together.
struct Cure {
    const MuxerAdvice* advice = nullptr; ///< of the muxer that made the stream
    Options settings{};                  ///< to give to the segmenter
    bool aligns = false;                 ///< the muxer's recipe is needed
    bool encodes = false;                ///< nothing helps but to encode again
    bool remuxes = false;                ///< FFmpeg's segment muxer alone helps
    std::vector<std::string> lines{};    ///< others, each with its program in front
};

/// What stands in the braces of MuxerAdvice for segments of `duration` seconds, at least 1: the
/// rate, also as a fraction, and frames and seconds from one key frame to the next. A cut falls due
/// once the duration has passed, so key frames come `more` frames, at least 1, later than that.
Values recipeValues(const FrameRate& rate, std::int32_t duration, std::uint64_t more = 1);

/// Writes what to do about a stream that `facts` describes, cut with `settings`; nothing where
/// nothing helps.
void writeCure(std::ostream& out, const Cure& cure, const StreamFacts& facts,
               const Options& settings);
