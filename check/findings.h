#pragma once

#include "check/cure.h"

#include <string>
#include <vector>

/// Something that players or the segmenter will not cope with.
struct Finding {
    int number = 0;       ///< as the manual page lists them, from 1 on
    bool is_note = false; ///< worth knowing, but there is nothing to fix
    std::string text{};   ///< what is wrong and why, in a sentence or two
};

/// All findings, by their numbers, and what fixes them.
struct Verdict {
    std::vector<Finding> findings{};
    Cure cure{};
};

/// Judges the stream that `facts` describes, cut with `settings`. While it runs (`is_over` is
/// false), only finds what can be told by now. `stray_words` are those on the command line that
/// are not options.
Verdict judge(const StreamFacts& facts, const Options& settings, const std::string& stray_words,
              bool is_over);
