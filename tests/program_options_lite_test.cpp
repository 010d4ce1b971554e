#include "program_options_lite/command_line.h"
#include "program_options_lite/config_file.h"
#include "program_options_lite/help.h"
#include "program_options_lite/store_pair.h"
#include "tests/support.h"

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

std::string afterWords(std::vector<const char*> words) {
    words.insert(words.begin(), "--number=99");
    const auto count = static_cast<unsigned>(words.size());
    return after([&](auto& opts) { po::scanArgv(opts, count, words.data()); });
}

std::string afterLines(const std::string& lines) {
    std::istringstream in(lines);
    return after([&](auto& opts) { po::scanFile(opts, in); });
}

std::string help(unsigned columns,
                 const std::vector<std::pair<std::string, std::string>>& options) {
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

TEST(CommandLine, GivesOptionsTheirValues) {
    EXPECT_EQ(after([](auto& opts) { EXPECT_TRUE(po::storePair(opts, "t", "7")); }), "text=7 ");
    EXPECT_EQ(after([](auto& opts) { po::storePair(opts, "long", "7"); }), "number=7 ")
        << "a long name comes first";
    EXPECT_EQ(after([](auto& opts) { EXPECT_FALSE(po::storePair(opts, "-n", "8")); }),
              "Unknown option: `-n' (value:`8')\n");
    EXPECT_EQ(afterWords({"--text=a=b"}), "text=a=b ") << "all behind the first =";
    EXPECT_EQ(afterWords({"--text="}), "text= ") << "an empty text";
    EXPECT_EQ(afterWords({"--flag", "--flag=0"}), "") << "the last value counts";
    EXPECT_EQ(afterWords({"--number", "5"}), "number=1 ") << "the value of a long name alone";
    EXPECT_EQ(afterWords({"---number=-3s"}), "number=-3 ") << "dashes, and what follows a number";
    EXPECT_EQ(afterWords({"file", "", "--number=6"}), "number=6 ") << "other words are skipped";
    EXPECT_EQ(afterWords({"-", "--flag", "--", "--number=6"}), "flag number=6 ") << "and dashes";
    EXPECT_EQ(afterWords({"-t", "--n", "--flag"}), "flag text=--n ") << "a short name, any value";
    EXPECT_EQ(afterWords({"-n", "1"}), "flag number=1 ") << "two options have this name";
    EXPECT_EQ(afterWords({"--two=8", "-x"}), "text=8 number=8 ") << "nothing is left for -x";
    EXPECT_EQ(afterWords({"--number=2147483648", "--flag=2"}), "") << "out of range";
    EXPECT_EQ(afterWords({"--number=ten", "--number=-0x10"}), "number=0 ") << "decimal";
    EXPECT_EQ(afterWords({"--n=3", "--flag"}), "flag Unknown option: `n' (value:`3')\n");
    EXPECT_EQ(afterWords({"-flag", "--text"}), "Unknown option: `flag' (value:`--text')\n");
}

TEST(ConfigFile, GivesOptionsTheirValues) {
    EXPECT_EQ(afterLines("  number :\t10   # seconds\r"), "number=10 ") << "blanks, a comment";
    EXPECT_EQ(afterLines("text:  a \t b\t\r\n"), "text=a \t b ") << "blanks inside a value";
    EXPECT_EQ(afterLines("text: a#b #: c"), "text=a#b ") << "a # in a word";
    EXPECT_EQ(afterLines("text::a: b"), "text=:a: b ") << "all behind the first colon";
    EXPECT_EQ(afterLines("text: # none\ntext:\r\ntext:"), "") << "without value";
    EXPECT_EQ(afterLines("text\ntext a b\n#text: a\n #\n:\n: a\n\n"), "") << "no setting";
    EXPECT_EQ(afterLines("t: a"), "Unknown option: `t' (value:`a')\n") << "a short name";
    const Folder folder;
    std::ofstream("options.conf") << "number: 8";
    EXPECT_EQ(after([](auto& opts) { po::parseConfigFile(opts, "options.conf"); }), "number=8 ");
    po::Options opts;
    po::parseConfigFile(opts, "/"); // opens, cannot be read, and sets nothing
    EXPECT_EXIT(po::parseConfigFile(opts, "none"), testing::ExitedWithCode(1),
                "^Failed to open config file: `none'\n$");
}

TEST(Help, IsLaidOutInColumns) {
    // clang-format off
    EXPECT_EQ(help(29, {{"h,help", "text"}, {"-hhhhh", "wide"}, {"no-text", ""},
                        {"long-name", "one two a b c d e f"}, {"full", "12345 78"},
                        {"gap", "12345678   90"}, {"word", "1234567890"}, {"front", " 1234567890"},
                        {"end", "1234567    "}, {"lines", "a long first line\nb\nc"}}),
              expectedText("help.txt", "29 columns"));
    // clang-format on
    EXPECT_EQ(help(14, {{"aa", "there is no room"}}), "        --aa  there is no room\n");
    EXPECT_EQ(help(80, {{"aa", "line\n"}}), "        --aa  line\n              \n");
    const std::string long_name = "abcdefghijklmnopqrstuvw";
    EXPECT_EQ(help(80, {{long_name, "no gap"}, {long_name + 'x', "below"}}),
              expectedText("help.txt", "80 columns"));
}
