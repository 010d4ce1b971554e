#include "program_options_lite/command_line.h"

#include "program_options_lite/store_pair.h"

#include <string>

namespace vex::program_options_lite {

void scanArgv(Options& opts, unsigned argc, const char** argv) {
    for (unsigned i = 1; i < argc; ++i) {
        if (argv[i][0] == '-') {
            const auto parse = argv[i][1] == '-' ? parseGNU : parseSHORT;
            i += parse(opts, argc - i, argv + i);
        }
    }
}

unsigned parseGNU(Options& opts, unsigned /*remaining*/, const char** argv) {
    const std::string argument = *argv;
    const std::size_t start = argument.find_first_not_of('-');
    if (start == std::string::npos) {
        return 0;
    }
    const std::size_t equals = argument.find('=');
    const bool has_value = equals != std::string::npos;
    const std::string name = argument.substr(start, has_value ? equals - start : equals);
    storePair(opts, /*allow_long=*/true, /*allow_short=*/false, name,
              has_value ? argument.substr(equals + 1) : "1");
    return 0;
}

unsigned parseSHORT(Options& opts, unsigned remaining, const char** argv) {
    const std::string argument = argv[0];
    const std::size_t start = argument.find_first_not_of('-');
    if (start == std::string::npos || remaining == 1) {
        return 0;
    }
    storePair(opts, /*allow_long=*/false, /*allow_short=*/true, argument.substr(start), argv[1]);
    return 1;
}

} // namespace vex::program_options_lite
