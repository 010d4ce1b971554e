#include "live/settings.h"

#include "align/aligner.h"
#include "playlist/live_playlist.h"

#include <charconv>
#include <system_error>

namespace {

/// An option whose value is a number.
struct NumberOption {
    const char* name; ///< with the equals sign
    std::int32_t LiveSettings::*field;
    std::int32_t least;
    std::int32_t most;
    const char* text;
};

constexpr NumberOption number_options[] = {
    {"--duration=", &LiveSettings::duration, 1, longest_duration, "seconds that a segment lasts"},
    {"--listed=", &LiveSettings::listed, 3, 5000, "segments that the playlist lists"},
    {"--end=", &LiveSettings::end, 0, 1, "1 - a clean end of the input ends the stream"},
    {"--timeout=", &LiveSettings::timeout, 0, 86400, "seconds of silence that end it, 0 - none"},
};
constexpr const char* name_option = "--playlist_name=";

/// Takes one argument. Returns what would make sense, if it does not.
std::string takeArgument(LiveSettings& settings, const std::string& argument) {
    if (!argument.starts_with('-')) {
        const bool is_folder = !argument.empty() && settings.folder.empty();
        settings.folder = argument;
        return is_folder ? "" : "it takes one folder.";
    }
    const std::string name = argument.substr(0, argument.find('=') + 1); // npos + 1 is 0
    const std::string value = argument.substr(name.size());
    if (name == name_option) { // beside its segments and the private folder
        settings.playlist_name = value;
        const bool is_name = !value.empty() && !value.starts_with('.') && !readAddress(value) &&
                             value.find('/') == std::string::npos &&
                             value.find("..") == std::string::npos;
        return is_name ? "" : "it takes a file name without a folder, with no dot in front.";
    }
    for (const auto& [option, field, least, most, text] : number_options) {
        if (name == option) {
            std::int32_t& number = settings.*field;
            const char* last = value.data() + value.size();
            const auto [end, error] = std::from_chars(value.data(), last, number);
            const bool is_number =
                error == std::errc() && end == last && number >= least && number <= most;
            return is_number ? ""
                             : "it takes a number, " + std::to_string(least) + " to " +
                                   std::to_string(most) + '.';
        }
    }
    return "there is no such option; a value follows an equals sign. See --help.";
}

} // namespace

std::string liveUsage() {
    const LiveSettings defaults;
    std::string text = "usage: segmenter-live FOLDER [OPTION...] < STREAM\n";
    for (const auto& [option, field, least, most, meaning] : number_options) {
        text += std::string("  ") + option + std::to_string(defaults.*field) + "  " + meaning +
                " (" + std::to_string(least) + " to " + std::to_string(most) + ")\n";
    }
    return text + "  " + name_option + defaults.playlist_name +
           "  file name of the playlist\n  --help  this text\n";
}

std::string readArguments(LiveSettings& settings, int count, const char* const* arguments) {
    for (int i = 0; i < count; ++i) {
        std::string refusal = takeArgument(settings, arguments[i]);
        if (!refusal.empty()) {
            return refusal.insert(0, arguments[i] + std::string(": "));
        }
    }
    return settings.folder.empty() ? "It takes a folder.\n" + liveUsage() : "";
}
