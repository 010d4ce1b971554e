#include "program_options_lite/command_line.h"
#include "program_options_lite/config_file.h"
#include "program_options_lite/help.h"
#include "program_options_lite/store_pair.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <vector>

namespace po = vex::program_options_lite;

namespace {

/// What options with long, short and shared names hold after `action`, as "text=a number=3": those
/// that have not their defaults. Behind them, what came to standard error.
std::string after(const std::function<void(po::Options&)>& action) {
    bool flag = true;
    std::string text;
    int number = 0;
    po::Options opts;
    opts.addOptions()("flag,-n", flag, false, "")("number,n,long,two", number, 77, "");
    opts.addOptions()("text,t,-long,two", text, "none", "");
    po::setDefaults(opts);
    testing::internal::CaptureStderr();
    action(opts);
    return (flag ? "flag " : "") + (text == "none" ? "" : "text=" + text + ' ') +
           (number == 77 ? "" : "number=" + std::to_string(number) + ' ') +
           testing::internal::GetCapturedStderr();
}

struct CommandLineRow {
    const char* name;
    std::vector<const char*> words; ///< behind the program's name
    const char* result = "";
};

const CommandLineRow command_lines[] = {
    {.name = "no argument", .words = {}},
    {.name = "a value with =", .words = {"--text=a=b"}, .result = "text=a=b "},
    {.name = "an empty value", .words = {"--text="}, .result = "text= "},
    {.name = "a later value", .words = {"--number=3", "--number=4"}, .result = "number=4 "},
    {.name = "a value of its own", .words = {"--number", "5"}, .result = "number=1 "},
    {.name = "three dashes", .words = {"---number=-3s"}, .result = "number=-3 "},
    {.name = "other words", .words = {"file", "", "--flag"}, .result = "flag "},
    {.name = "dashes only", .words = {"-", "--", "--number=6"}, .result = "number=6 "},
    {.name = "a short option", .words = {"-t", "--flag"}, .result = "text=--flag "},
    {.name = "a shared name", .words = {"-n", "1"}, .result = "flag number=1 "},
    {.name = "one at the end", .words = {"--number=8", "-x"}, .result = "number=8 "},
    {.name = "not in range", .words = {"--number=2147483648", "--flag=2"}},
    {.name = "decimal", .words = {"--number=ten", "--number=-0x10"}, .result = "number=0 "},
    {.name = "unknown",
     .words = {"--n=3", "--flag"},
     .result = "flag Unknown option: `n' (value:`3')\n"},
    {.name = "unknown short one",
     .words = {"-flag", "--text"},
     .result = "Unknown option: `flag' (value:`--text')\n"},
    {.name = "no name", .words = {"--=v"}, .result = "Unknown option: `' (value:`v')\n"},
};

struct ConfigFileRow {
    const char* name;
    const char* lines;
    const char* result = "";
};

const ConfigFileRow config_files[] = {
    {.name = "a comment", .lines = "  number :\t10   # seconds\r", .result = "number=10 "},
    {.name = "blanks inside", .lines = "text:  a \t b\t\r\n", .result = "text=a \t b "},
    {.name = "two lines", .lines = "number:8\nnumber:9", .result = "number=9 "},
    {.name = "a # in a word", .lines = "text: a#b #: c", .result = "text=a#b "},
    {.name = "a colon in a value", .lines = "text: a: b", .result = "text=a: b "},
    {.name = "two colons", .lines = "text::x", .result = "text=:x "},
    {.name = "none whole", .lines = "text: # none\ntext:\r\ntext\ntext a\n# text: a\n #\n:\n\n"},
    {.name = "a short name", .lines = "t: a", .result = "Unknown option: `t' (value:`a')\n"},
};

/// The help text for options with these names and texts.
std::string help(unsigned columns,
                 const std::vector<std::pair<const char*, const char*>>& options) {
    int target = 0;
    po::Options opts;
    for (const auto& [names, text] : options) {
        opts.addOptions()(names, target, 0, text);
    }
    std::ostringstream out;
    po::doHelp(out, opts, columns);
    return out.str();
}

} // namespace

TEST(StorePair, LooksForLongNamesFirst) {
    EXPECT_EQ(after([](auto& opts) { po::storePair(opts, "long", "7"); }), "number=7 ");
    EXPECT_EQ(after([](auto& opts) { po::storePair(opts, false, true, "long", "7"); }), "text=7 ");
    EXPECT_EQ(after([](auto& opts) { EXPECT_TRUE(po::storePair(opts, "two", "8")); }),
              "text=8 number=8 ");
    EXPECT_EQ(after([](auto& opts) { EXPECT_FALSE(po::storePair(opts, "-n", "8")); }),
              "Unknown option: `-n' (value:`8')\n");
}

TEST(CommandLine, GivesOptionsWhatTheRowsSay) {
    for (CommandLineRow row : command_lines) {
        row.words.insert(row.words.begin(), "--number=99"); // the program's name
        const auto argc = static_cast<unsigned>(row.words.size());
        EXPECT_EQ(after([&](auto& opts) { po::scanArgv(opts, argc, row.words.data()); }),
                  row.result)
            << row.name;
    }
}

TEST(ConfigFile, GivesOptionsWhatTheRowsSay) {
    for (const ConfigFileRow& row : config_files) {
        std::istringstream lines(row.lines);
        EXPECT_EQ(after([&](auto& opts) { po::scanFile(opts, lines); }), row.result) << row.name;
    }
    po::Options opts;
    po::parseConfigFile(opts, "/"); // opens, but cannot be read
    EXPECT_EXIT(po::parseConfigFile(opts, "none"), testing::ExitedWithCode(1),
                "^Failed to open config file: `none'\n$");
}

TEST(Help, IsLaidOutInColumns) {
    EXPECT_EQ(help(29, {{"h,help", "text"},
                        {"-hhhhh", "wide"},
                        {"no-text", ""},
                        {"long-name", "one two a b"},
                        {"full", "12345 78"},
                        {"gap", "12345678   90"},
                        {"word", "1234567890"},
                        {"front", " 1234567890"},
                        {"end", "1234567    "},
                        {"lines", "a long first line\nb"}}),
              R"(  -h,   --help       text
  -hhhhh             wide
        --no-text
        --long-name  one two
                     a b
        --full       12345
                     78
        --gap        12345678
                     90
        --word       12345678
                     90
        --front       1234567
                     890
        --end        1234567
        --lines      a long first line
                     b
)");
    EXPECT_EQ(help(14, {{"aa", "there is no room"}}), "        --aa  there is no room\n");
    EXPECT_EQ(help(80, {{"aa", "line\n"}}), "        --aa  line\n              \n");
    EXPECT_EQ(
        help(80, {{"abcdefghijklmnopqrstuvw", "wide"}, {"abcdefghijklmnopqrstuvwx", "wider"}}),
        R"(        --abcdefghijklmnopqrstuvwwide
        --abcdefghijklmnopqrstuvwx
                                 wider
)");
}
