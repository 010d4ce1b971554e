#pragma once

#include "program_options_lite/options.h"

#include <string>

namespace vex::program_options_lite {

/// Hands `value` to every option called `name`, in order of registration.
///
/// Looks among the long names if `allow_long`, and among the short names if `allow_short` and no
/// long name matched. Returns false, after a line on standard error, when no option has the name.
bool storePair(Options& opts, bool allow_long, bool allow_short, const std::string& name,
               const std::string& value);

/// The same for long and short names.
bool storePair(Options& opts, const std::string& name, const std::string& value);

} // namespace vex::program_options_lite
