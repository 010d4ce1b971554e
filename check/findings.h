#pragma once

#include "check/stream_facts.h"
#include "segmenter/options.h"

#include <string>
#include <vector>

/// Something that players or the segmenter will not cope with.
struct Finding {
    int number = 0;        ///< as the manual page lists them, from 1 on
    bool is_note = false;  ///< worth knowing, but nothing to mend
    std::string reason{};  ///< one sentence
    std::string remedy{};  ///< what to do about it
    std::string to_copy{}; ///< the options that do it, if there are any
};

/// What to mend in a stream that `facts` describes, cut with `settings`, in the order of the
/// numbers.
std::vector<Finding> findFindings(const StreamFacts& facts, const Options& settings);
