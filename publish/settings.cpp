#include "publish/settings.h"

#include "program_options_lite/command_line.h"
#include "program_options_lite/help.h"
#include "program_options_lite/options.h"
#include "segmenter/options.h"
#include "tsinspect/muxer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace po = vex::program_options_lite;

namespace {

constexpr std::int32_t least_listed = 3; // target durations that a live list lasts: RFC 8216, 6.2.2
constexpr std::int32_t most_listed = 5000; // half a megabyte, which is written for each segment

/// Ends the name of a folder in "/".
void endInSlash(std::string& folder) {
    if (!folder.empty() && !folder.ends_with('/')) {
        folder += '/';
    }
}

/// True when files can be moved from `from` to `to`. Nothing is moved: "." never can be, but a
/// system says first whether the folders are on one mount; two bind mounts of one file system are
/// not.
bool areOnOneMount(const std::string& from, const std::string& to) {
    return std::rename((from + '.').c_str(), (to + '.').c_str()) == 0 || errno != EXDEV;
}

/// The sentence about a folder for which the last system call failed.
std::string unusable(const std::string& folder) {
    return folder + " cannot be used: " + std::strerror(errno) + ".";
}

} // namespace

bool PublishSettings::parseOptions(int argc, const char** argv) {
    constexpr unsigned terminal_columns = 80;

    bool help_flag = false;
    po::Options registry;
    // clang-format off
    registry.addOptions()
        ("help", help_flag, false, "this help text")
        ("from", from, "", "folder that the segmenter writes into")
        ("to", to, "", "public folder, on the same file system")
        ("playlist_name", playlist_name, default_playlist_name, "file name of both playlists")
        ("listed", listed, default_listed, "segments that the public playlist lists, 3 to 5000")
        ("mux_type", mux_type, 0, "muxer of the stream: 0 - FFMPEG, 1 - GST")
        ("end", end, 0, "1 - a clean end of the run ends the stream too");
    // clang-format on
    po::setDefaults(registry);
    po::scanArgv(registry, static_cast<unsigned>(argc), argv);
    endInSlash(from);
    endInSlash(to);
    if (argc > 1 && !help_flag) {
        return true;
    }
    po::doHelp(std::cout, registry, terminal_columns);
    return false;
}

std::string PublishSettings::refusal() const {
    if (from.empty() || to.empty()) {
        return "Both --from and --to are needed.";
    }
    if (playlist_name.empty() || playlist_name.find('/') != std::string::npos) {
        return "--playlist_name takes a file name without a folder.";
    }
    if (listed < least_listed) {
        return "--listed takes 3 or more, since a live playlist lasts three target durations.";
    }
    if (listed > most_listed) {
        return "--listed takes 5000 or less, since players fetch the whole list again and again.";
    }
    if (findMuxer(mux_type) == nullptr) {
        return "--mux_type takes 0 for FFmpeg and 1 for GStreamer.";
    }
    if (end != 0 && end != 1) {
        return "--end takes 0 or 1.";
    }
    struct stat status[2] = {};
    for (const bool is_to : {false, true}) {
        if (::stat(is_to ? to.c_str() : from.c_str(), &status[is_to]) != 0) {
            return unusable(is_to ? to : from);
        }
    }
    if (status[0].st_dev != status[1].st_dev || !areOnOneMount(from, to)) {
        return from + " and " + to +
               " are on different file systems, between which files cannot be moved in one step.";
    }
    if (status[0].st_ino == status[1].st_ino) {
        return "--from and --to are the same folder.";
    }
    for (const std::string& folder : {from, to}) {
        if (::access(folder.c_str(), R_OK | W_OK | X_OK) != 0) {
            return unusable(folder);
        }
    }
    return "";
}
