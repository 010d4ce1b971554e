#pragma once

#include "check/cure.h"

#include <string>
#include <vector>

/// Something that players or the segmenter will not cope with.
struct Finding {
    int number = 0;       ///< as the manual page lists them, from 1 on
    bool is_note = false; ///< worth knowing, but nothing to fix
    std::string text{};   ///< what is wrong and why, in a sentence or two
};

/// From when on a finding can be told from what was found so far.
enum class Moment {
    any,        ///< once it is seen
    after_cuts, ///< once segments were cut, or none was for a long time
    end,        ///< when the stream is over
    note,       ///< then, too, and it is nothing to fix
};

/// All that can be told at `moment` of the stream that `facts` describes, cut with `settings`, in
/// the order of the numbers; puts what fixes it into `cure`. `stray_words` are those of the command
/// line that the segmenter skips.
std::vector<Finding> judge(const StreamFacts& facts, const Options& settings,
                           const std::string& stray_words, Moment moment, Cure& cure);

/// True where nothing was cut for more than two durations.
bool isStuck(const StreamFacts& facts, const Options& settings);
