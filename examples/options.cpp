// Declares options, reads them from a file named by the first argument, then from the others.
#include "program_options_lite/options.h"
#include "program_options_lite/command_line.h"
#include "program_options_lite/config_file.h"
#include "program_options_lite/help.h"

#include <iostream>

namespace po = vex::program_options_lite;

int main(int argc, const char** argv) {
    bool help = false;
    int port = 0;
    std::string folder;

    po::Options options;
    // clang-format off
    options.addOptions()
        ("help,h", help, false, "print this text")
        ("port,p", port, 8080, "port to listen on")
        ("folder", folder, "/www", "folder to serve");
    // clang-format on

    po::setDefaults(options);
    if (argc > 1) {
        po::parseConfigFile(options, argv[1]); // lines such as "port: 80  # privileged"
        po::scanArgv(options, static_cast<unsigned>(argc - 1), argv + 1);
    }
    if (help || argc == 1) {
        po::doHelp(std::cout, options, 80);
        return 1;
    }
    std::cout << folder << " on port " << port << '\n';
}
