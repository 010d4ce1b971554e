#pragma once

#include "program_options_lite/options.h"

#include <istream>
#include <string>

namespace vex::program_options_lite {

/// Applies the lines of the file `filename`, of the form
///
///     name: value   # comment
///
/// to the long names of `opts`; later lines win. Ends the process with status 1, after a line on
/// standard error, when the file cannot be opened.
void parseConfigFile(Options& opts, const std::string& filename);

/// Applies every line of `in`, up to its end or to a read error; what was read of a line before an
/// error is applied too.
void scanFile(Options& opts, std::istream& in);

/// Applies one line, given without its newline. White space (blank, tab, newline, carriage return)
/// around the name and the value is dropped. A comment begins with a "#" at the start of the line
/// or of a word of the value. Lines without a name, a colon or a value are ignored; a name that is
/// not registered is reported on standard error.
void scanLine(Options& opts, std::string& line);

} // namespace vex::program_options_lite
