#include "tests/support.h"

#include <sstream>

namespace {

using Arguments = ProgramTest;

/// Starts one of the programs with arguments, quoted for a shell.
Program start(const std::string& command) {
    const std::map<std::string, std::string> programs = {
        {"segmenter-align", SEGMENTER_ALIGN},
        {"segmenter-live", SEGMENTER_LIVE},
        {"segmenter-push", "bash '" ROOT "packaging/segmenter-push'"}};
    const std::string name = command.substr(0, command.find(' '));
    return Program(programs.at(name) + command.substr(name.size()));
}

} // namespace

TEST_F(Arguments, AreRefusedWhereTheyMakeNoSense) {
    std::istringstream lines(expectedText("arguments.txt", "refused"));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t arrow = line.find(" => ");
        expectEnd(start(line.substr(0, arrow)), 2, line.substr(arrow + 4) + '\n');
        EXPECT_TRUE(fs::is_empty("."));
    }
}

TEST_F(Arguments, AreExplained) {
    for (const std::string command : {"segmenter-align --help", "segmenter-live www --help"}) {
        expectOutcome(start(command).end(), {.output = expectedText("arguments.txt", command)});
    }
}
