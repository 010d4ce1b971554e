#include "program_options_lite/help.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <string>

namespace vex::program_options_lite {
namespace {

constexpr std::size_t short_name_width = 3;
constexpr std::size_t widest_name_column = 31;

constexpr char spaces[] = "                                        "; // 40 blanks
static_assert(sizeof spaces == 40 + 1);

/// A run of `n` blanks, at most 40.
const char* blanks(std::size_t n) { return spaces + (sizeof spaces - 1 - n); }

/// Writes the first short and the first long name of `entry`. The short one gets `short_width`
/// columns, so that the long ones stand below each other.
void doHelpOpt(std::ostream& out, const Options::Names& entry, unsigned short_width) {
    if (entry.short_names.empty()) {
        out << "   " << blanks(short_width);
    } else {
        const std::string& name = entry.short_names.front();
        out << '-' << name << (entry.long_names.empty() ? "" : ", ")
            << blanks(short_width - std::min<std::size_t>(short_width, name.size()));
    }
    if (!entry.long_names.empty()) {
        out << "--" << entry.long_names.front();
    }
}

/// The column, counted from 0, at which every help text begins.
std::size_t optionColumn(const Options& opts) {
    std::size_t widest = 0;
    for (const Options::Names* entry : opts.entries) {
        std::ostringstream name_column;
        doHelpOpt(name_column, *entry, short_name_width);
        widest = std::max(widest, name_column.str().size());
    }
    return std::min(widest + 2, widest_name_column) + 2;
}

/// Where a line of `text` that begins at `position` ends, and where the next one begins.
struct Line {
    std::size_t end;
    std::size_t next;
};

/// Breaks before the last blank that leaves at most `width` characters; without one it cuts hard.
Line wrapLine(const std::string& text, std::size_t position, std::size_t width) {
    const std::size_t blank = text.rfind(' ', position + width);
    if (blank != std::string::npos) {
        // find_last_not_of gives npos, which is -1, for a text that has only blanks up to here.
        const std::size_t end = text.find_last_not_of(' ', blank) + 1;
        if (end > position) {
            return {end, std::min(text.find_first_not_of(' ', end), text.size())};
        }
    }
    return {position + width, position + width};
}

/// Writes `text` in lines from `column` on; `current` characters of the first line are taken.
void writeHelpText(std::ostream& out, const std::string& text, std::size_t current,
                   std::size_t column, std::size_t width) {
    std::size_t position = 0;
    while (true) {
        out << blanks(column - current);
        current = 0;
        if (const std::size_t newline = text.find('\n', position); newline != std::string::npos) {
            out << text.substr(position, newline + 1 - position);
            position = newline + 1;
            continue;
        }
        if (text.size() - position < width) {
            out << text.substr(position);
            return;
        }
        const Line line = wrapLine(text, position, width);
        out << text.substr(position, line.end - position);
        position = line.next;
        if (position >= text.size()) {
            return;
        }
        out << '\n';
    }
}

} // namespace

void doHelp(std::ostream& out, Options& opts, unsigned columns) {
    const std::size_t option_column = optionColumn(opts);
    const std::size_t text_width =
        columns > option_column ? columns - option_column : std::numeric_limits<std::size_t>::max();
    for (const Options::Names* entry : opts.entries) {
        std::ostringstream block;
        block << "  ";
        doHelpOpt(block, *entry, short_name_width);
        if (const std::string& text = entry->option->help_text; !text.empty()) {
            std::size_t current = block.str().size();
            if (current > option_column) {
                block << '\n';
                current = 0;
            }
            writeHelpText(block, text, current, option_column, text_width);
        }
        out << block.str() << std::endl;
    }
}

} // namespace vex::program_options_lite
