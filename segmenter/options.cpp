#include "segmenter/options.h"

#include "program_options_lite/command_line.h"
#include "program_options_lite/help.h"
#include "program_options_lite/options.h"

#include <iostream>

namespace po = vex::program_options_lite;

bool Options::parseOptions(int argc, const char** argv) {
    constexpr unsigned terminal_columns = 80;

    bool help_flag = false;
    po::Options registry;
    // clang-format off
    registry.addOptions()
        ("help", help_flag, false, "this help text")
        ("prefix", prefix, "", "Prefix of the segment files")
        ("url_prefix", url_prefix, "", "Prefix of the URL for generate index file")
        ("playlist_name", playlist_name, default_playlist_name,
                          "The name of playlist containing .ts files.")
        ("duration", duration, default_duration, "Duration for start next file")
        ("window", window, 0, "Number of files for sliding window")
        ("mux_type", mux_type, 0, "Type of MUX: 0 - FFMPEG, 1 - GST");
    // clang-format on
    po::setDefaults(registry);
    po::scanArgv(registry, static_cast<unsigned>(argc), argv);

    if (argc > 1 && !help_flag) {
        return true;
    }
    po::doHelp(std::cout, registry, terminal_columns);
    return false;
}
