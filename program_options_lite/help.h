#pragma once

#include "program_options_lite/options.h"

#include <ostream>

namespace vex::program_options_lite {

/// Writes one block an option, in order of registration: its names on the left, its help text in a
/// common column on the right, wrapped at blanks to lines of `columns` characters.
///
/// Newlines in a help text start a new line in that column. Where `columns` leaves no room for help
/// text, each text is written unwrapped.
void doHelp(std::ostream& out, Options& opts, unsigned columns);

} // namespace vex::program_options_lite
