#include "program_options_lite/config_file.h"
#include "program_options_lite/options.h"

#include <iostream>
#include <sstream>

namespace po = vex::program_options_lite;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::cerr.setstate(std::ios::failbit); // unknown options are reported there
    std::string text;
    int number = 0;
    bool flag = false;
    po::Options registry;
    registry.addOptions()("text", text, "", "")("number,n", number, 0, "")("flag", flag, false, "");
    std::istringstream file(std::string(data, data + size));
    po::scanFile(registry, file);
    return 0;
}
