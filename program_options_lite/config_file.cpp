#include "program_options_lite/config_file.h"

#include "program_options_lite/store_pair.h"

#include <cstdlib>
#include <fstream>
#include <iostream>

namespace vex::program_options_lite {
namespace {

constexpr const char* white_space = " \t\n\r";
constexpr const char* name_ends = ": \t\n\r";

/// Where the comment in `line` begins, looking at each word from the one at `word` on; npos without
/// a comment.
std::size_t findComment(const std::string& line, std::size_t word) {
    while (word != std::string::npos && line[word] != '#') {
        word = line.find_first_not_of(white_space, line.find_first_of(white_space, word));
    }
    return word;
}

} // namespace

void parseConfigFile(Options& opts, const std::string& filename) {
    std::ifstream file(filename);
    if (!file.good()) {
        std::cerr << "Failed to open config file: `" << filename << "'" << std::endl;
        std::exit(EXIT_FAILURE);
    }
    scanFile(opts, file);
}

void scanFile(Options& opts, std::istream& in) {
    do {
        std::string line;
        std::getline(in, line);
        scanLine(opts, line); // also what came before a read error; nothing, at the end
    } while (!in.fail());
}

void scanLine(Options& opts, std::string& line) {
    const std::size_t name = line.find_first_not_of(white_space);
    if (name == std::string::npos || line[name] == '#') {
        return;
    }
    const std::size_t name_end = line.find_first_of(name_ends, name + 1);
    const std::size_t colon = line.find_first_not_of(white_space, name_end);
    if (colon == std::string::npos || line[colon] != ':') {
        return;
    }
    const std::size_t value = line.find_first_not_of(white_space, colon + 1);
    const std::size_t comment = findComment(line, value);
    if (value == comment) { // both npos, or a comment for a value
        return;
    }
    const std::size_t value_last = line.find_last_not_of(white_space, comment - 1);
    storePair(opts, /*allow_long=*/true, /*allow_short=*/false, line.substr(name, name_end - name),
              line.substr(value, value_last + 1 - value));
}

} // namespace vex::program_options_lite
