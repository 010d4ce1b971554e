#pragma once

#include "program_options_lite/options.h"

namespace vex::program_options_lite {

/// Applies the arguments 1 to argc - 1 in order; later ones win.
///
/// --name=value and --name (which gives "1") set a long name, -n value a short one. Unknown names
/// are reported on standard error and skipped; words without a dash in front and arguments made of
/// dashes only are skipped silently.
void scanArgv(Options& opts, unsigned argc, const char** argv);

/// Applies the long option at *argv; `remaining` counts the arguments from it to the end.
/// Returns how many arguments it used beyond that one: none.
unsigned parseGNU(Options& opts, unsigned remaining, const char** argv);

/// Applies the short option at *argv with the argument after it as its value.
/// Returns how many arguments it used beyond the option: 1, or 0 when none is left (the option is
/// then dropped) or when the option is a lone dash.
unsigned parseSHORT(Options& opts, unsigned remaining, const char** argv);

} // namespace vex::program_options_lite
