#include "program_options_lite/command_line.h"
#include "program_options_lite/config_file.h"
#include "program_options_lite/help.h"
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
    }
    /// The values and what standard error got after `action`, which starts from the defaults.
    template <typename Action>
    std::string after(Action action) {
        po::setDefaults(opts);
        testing::internal::CaptureStderr();
        action();
        return (flag ? "true " : "false ") + text + ' ' + std::to_string(number) +
               testing::internal::GetCapturedStderr();
    }

    po::Options opts;
    bool flag = true;
    std::string text;
    int number = 0;
};

} // namespace

TEST_F(OptionLibrary, LooksForLongNamesFirst) {
    EXPECT_EQ(after([&] { po::storePair(opts, false, true, "long", "7"); }), "false 7 77");
    EXPECT_EQ(after([&] { po::storePair(opts, "long", "7"); }), "false none 7");
    EXPECT_EQ(after([&] { EXPECT_TRUE(po::storePair(opts, "two", " 8 ")); }), "false  8  8");
    EXPECT_FALSE(po::storePair(opts, "-n", "8"));
}

TEST_F(OptionLibrary, ScansArgumentsToTheEnd) {
    std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"program"}, "false none 77"},
        {{"--flag", "--flag", "--text=a=b", "file", "", "---number=3s", "--text="}, "true  3"},
        {{"", "--number", "10"}, "false none 1"},
        {{"", "-n", "1", "-n", "--number=9", "-t", "7"}, "true 7 1"},
        {{"", "-", "--", "---", "--number=6", "-t"}, "false none 6"},
        {{"", "--number=2147483648", "--flag=2", "-x"}, "false none 77"},
        {{"", "--number=-0x10", "--number=ten"}, "false none 0"},
        {{"", "--n=3", "--flag"}, "true none 77Unknown option: `n' (value:`3')\n"},
        {{"", "-flag", "--text"}, "false none 77Unknown option: `flag' (value:`--text')\n"},
        {{"", "--=v"}, "false none 77Unknown option: `' (value:`v')\n"},
    };
    for (auto& [words, expected] : cases) {
        const auto argc = static_cast<unsigned>(words.size());
        EXPECT_EQ(after([&, argv = words.data()] { po::scanArgv(opts, argc, argv); }), expected);
    }
}

TEST_F(OptionLibrary, ReadsConfigurationLines) {
    const std::pair<const char*, const char*> cases[] = {
        {"  number :\t10   # seconds\r", "false none 10"},
        {"text:  a \t b\t\r\nnumber:9", "false a \t b 9"},
        {"text: a#b #: c", "false a#b 77"},
        {"text: a: b\ntext::x", "false :x 77"},
        {"text: # none\ntext:\r\ntext\ntext a\n# text: a\n #\n\n", "false none 77"},
        {"size: 3\nnumber: 5", "false none 5Unknown option: `size' (value:`3')\n"},
        {"t: a", "false none 77Unknown option: `t' (value:`a')\n"},
    };
    for (const auto& [lines, expected] : cases) {
        std::istringstream in(lines);
        EXPECT_EQ(after([&] { po::scanFile(opts, in); }), expected);
    }
    po::parseConfigFile(opts, "/"); // opens, but cannot be read
    EXPECT_EXIT(po::parseConfigFile(opts, "none"), testing::ExitedWithCode(1),
                "^Failed to open config file: `none'\n$");
}

TEST(Help, IsLaidOutInColumns) {
    const std::tuple<const char*, const char*, unsigned, std::string> cases[] = {
        {"aa", "", 80, "        --aa"},
        {"h,aa", "text", 80, "  -h,   --aa  text"},
        {"-hhhhh,long", "t", 80, "  -hhhhh, --long  t"},
        {"aa", "one two three", 20, "        --aa  one^two^three"},
        {"aa", "12345 78", 22, "        --aa  12345^78"},
        {"aa", "12345678   90", 22, "        --aa  12345678^90"},
        {"aa", "1234567890", 22, "        --aa  12345678^90"},
        {"aa", " 1234567890", 22, "        --aa   1234567^890"},
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
        for (std::size_t at = 0; (at = help.find('^')) != std::string::npos;) {
            help.replace(at, 1, "\n              "); // to the column of the help texts
        }
        EXPECT_EQ(out.str(), help + '\n');
    }
}
