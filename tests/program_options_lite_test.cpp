#include "program_options_lite/command_line.h"
#include "program_options_lite/help.h"
#include "program_options_lite/options.h"
#include "program_options_lite/store_pair.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace po = vex::program_options_lite;

namespace {

/// A registry with long, short and shared names.
struct OptionLibrary : testing::Test {
    OptionLibrary() {
        opts.addOptions()("flag,-n", flag, false, "")("text,t,-long,two", text, "none", "");
        opts.addOptions()("number,n,long,two", number, 77, "");
        po::setDefaults(opts);
    }
    [[nodiscard]] std::string values() const {
        return (flag ? "true " : "false ") + text + ' ' + std::to_string(number);
    }

    po::Options opts;
    bool flag = true;
    std::string text;
    int number = 0;
};

} // namespace

TEST_F(OptionLibrary, StoresUnderLongAndShortNames) {
    const std::tuple<bool, bool, const char*, const char*, const char*> cases[] = {
        {true, false, "long", "7", "false none 7"},
        {false, true, "long", "7", "false 7 77"},
        {true, true, "long", "7", "false none 7"},
        {true, true, "n", "1", "true none 1"},
        {true, true, "two", " 8 ", "false  8  8"},
        {true, true, "number", "-3s", "false none -3"},
        {true, true, "number", "x", "false none 77"},
        {true, true, "number", "0x1", "false none 0"},
        {true, true, "flag", "2", "false none 77"}};
    for (const auto& [allow_long, allow_short, name, value, expected] : cases) {
        po::setDefaults(opts);
        EXPECT_TRUE(po::storePair(opts, allow_long, allow_short, name, value));
        EXPECT_EQ(values(), expected) << name << ' ' << value;
    }
    po::storePair(opts, "number", "2147483648");
    EXPECT_EQ(values(), "false none 77");
    EXPECT_FALSE(po::storePair(opts, "-long", ""));
}

TEST_F(OptionLibrary, ScansArgumentsToTheEnd) {
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"program"}, "false none 77"},
        {{"--flag", "--flag", "--text=a=b", "file", "", "---number=3", "--text="}, "true  3"},
        {{"", "--number", "10"}, "false none 1"},
        {{"", "-n", "--number=9", "-t", "7"}, "false 7 77"},
        {{"", "-", "--", "---", "--number=6", "-t"}, "false none 6"},
        {{"", "-x"}, "false none 77"},
        {{"", "--n=3", "--flag"}, "true none 77Unknown option: `n' (value:`3')\n"},
        {{"", "-flag", "--text"}, "false none 77Unknown option: `flag' (value:`--text')\n"},
        {{"", "--=v"}, "false none 77Unknown option: `' (value:`v')\n"},
    };
    for (auto [arguments, expected] : cases) {
        po::setDefaults(opts);
        testing::internal::CaptureStderr();
        po::scanArgv(opts, static_cast<unsigned>(arguments.size()), arguments.data());
        EXPECT_EQ(values() + testing::internal::GetCapturedStderr(), expected);
    }
}

TEST(Help, IsLaidOutInColumns) {
    const std::tuple<const char*, const char*, unsigned, const char*> cases[] = {
        {"aa", "", 80, "        --aa"},
        {"h,aa", "text", 80, "  -h,   --aa  text"},
        {"long,-x,-y,z", "t", 80, "  -x,   --long  t"},
        {"-hhhhh,long", "t", 80, "  -hhhhh, --long  t"},
        {"aa", "one two three", 20, "        --aa  one^two^three"},
        {"aa", "1234567", 22, "        --aa  1234567"},
        {"aa", "12345 78", 22, "        --aa  12345^78"},
        {"aa", "12345678   90", 22, "        --aa  12345678^90"},
        {"aa", "1234567890", 22, "        --aa  12345678^90"},
        {"aa", "1234567    ", 22, "        --aa  1234567"},
        {"aa", "a long first line\nb\n", 22, "        --aa  a long first line^b^"},
        {"aa", "one two three", 14, "        --aa  one two three"},
        {"abcdefghijklmnopqrstuvw", "t", 80, "        --abcdefghijklmnopqrstuvwt"},
        {"abcdefghijklmnopqrstuvwx", "t", 80,
         "        --abcdefghijklmnopqrstuvwx^                   t"},
    };
    for (auto [names, text, columns, help] : cases) {
        int target = 0;
        po::Options opts;
        opts.addOptions()(names, target, 0, text);
        std::ostringstream out;
        po::doHelp(out, opts, columns);
        std::string lines; // where ^ stands for a new line with its help text in column 14
        for (; *help != '\0'; ++help) {
            lines += *help == '^' ? "\n              " : std::string(1, *help);
        }
        EXPECT_EQ(out.str(), lines + '\n');
    }
}
