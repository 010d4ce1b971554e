#include "live/settings.h"

#include "playlist/live_playlist.h"

#include <charconv>
#include <string_view>
#include <system_error>

namespace {

/// An option whose value is a number.
struct NumberOption {
    std::string_view name; ///< with the equals sign
    std::int32_t LiveSettings::*field;
    std::int32_t least;
    std::int32_t most;
    const char* text;
};

constexpr NumberOption number_options[] = {
    {"--duration=", &LiveSettings::duration, 1, 3600, "seconds that a segment lasts"},
    {"--listed=", &LiveSettings::listed, 3, 5000, "segments that the playlist lists"},
    {"--end=", &LiveSettings::end, 0, 1, "1 - a clean end of the input ends the stream"},
    {"--timeout=", &LiveSettings::timeout, 0, 86400, "seconds of silence that end it, 0 - none"},
};
constexpr std::string_view name_option = "--playlist_name=";

/// Takes `value` for `option`. False where it is no number of its range.
bool takeNumber(LiveSettings& settings, const NumberOption& option, std::string_view value) {
    std::int32_t& number = settings.*option.field;
    const char* last = value.data() + value.size();
    const auto [end, error] = std::from_chars(value.data(), last, number);
    return error == std::errc() && end == last && number >= option.least && number <= option.most;
}

/// True for a name that a playlist can have beside its segments and the private folder.
bool isPlaylistName(const std::string& name) {
    return !name.empty() && !name.starts_with('.') && name.find('/') == std::string::npos &&
           name.find("..") == std::string::npos && !readAddress(name);
}

/// Takes an option. Returns what it takes, if that is something else.
std::string takeOption(LiveSettings& settings, const std::string& argument) {
    for (const NumberOption& option : number_options) {
        if (argument.starts_with(option.name)) {
            return takeNumber(settings, option, argument.substr(option.name.size()))
                       ? ""
                       : "it takes a number, " + std::to_string(option.least) + " to " +
                             std::to_string(option.most) + '.';
        }
    }
    if (!argument.starts_with(name_option)) {
        return "there is no such option; a value follows an equals sign. See --help.";
    }
    settings.playlist_name = argument.substr(name_option.size());
    return isPlaylistName(settings.playlist_name) ? ""
                                                  : "it takes a file name without a folder, which "
                                                    "does not begin with a dot.";
}

} // namespace

std::string liveUsage() {
    const LiveSettings defaults;
    std::string text = "usage: segmenter-live FOLDER [OPTION...] < STREAM\n";
    for (const NumberOption& option : number_options) {
        text += "  " + std::string(option.name) + std::to_string(defaults.*option.field) + "  " +
                option.text + " (" + std::to_string(option.least) + " to " +
                std::to_string(option.most) + ")\n";
    }
    return text + "  " + std::string(name_option) + defaults.playlist_name +
           "  file name of the playlist\n  --help  this text\n";
}

std::string readArguments(LiveSettings& settings, int count, const char* const* arguments) {
    for (int i = 0; i < count; ++i) {
        const std::string argument = arguments[i];
        std::string refusal;
        if (argument.starts_with("--")) {
            refusal = takeOption(settings, argument);
        } else if (argument.empty() || !settings.folder.empty()) {
            refusal = "it takes one folder.";
        } else {
            settings.folder = argument;
        }
        if (!refusal.empty()) {
            return refusal.insert(0, argument + ": ");
        }
    }
    return settings.folder.empty() ? "It takes a folder.\n" + liveUsage() : "";
}
