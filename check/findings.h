#pragma once

#include "check/stream_reader.h"

#include <string>
#include <vector>

/// Something that players or the segmenter will not cope with.
struct Finding {
    int number = 0;        ///< as the manual page lists them, from 1 on
    std::string text{};    ///< what is wrong and why, in a sentence or two
    bool is_note = false;  ///< worth knowing, but there is nothing to fix
    bool is_cured = false; ///< by cureFor()
};

/// Judges the stream that `facts` describes, cut with `settings`, and returns what is wrong, by its
/// numbers; while the stream runs (`is_over` is false), only what can be told by now. `stray_words`
/// are those on the command line that are not options.
std::vector<Finding> judge(const StreamFacts& facts, const Options& settings,
                           const std::string& stray_words, bool is_over);

/// The commands that fix those `findings` that can be fixed behind the muxer, with the user's
/// options as far as they make sense, under a heading; empty where there is nothing of that.
std::string cureFor(const std::vector<Finding>& findings, const Options& settings);
