#pragma once

#include "segmenter/options.h"

#include <cstdint>
#include <string>

/// The settings of segmenter-live.
struct LiveSettings {
    std::string folder{};                              ///< that viewers see, with "/" at its end
    std::string playlist_name = default_playlist_name; ///< in it
    std::int32_t duration = default_duration;          ///< of a segment, in seconds
    std::int32_t listed = 5;  ///< segments that the playlist lists, three target durations at least
    std::int32_t end = 0;     ///< 1: a clean end of the input ends the stream
    std::int32_t timeout = 0; ///< seconds without a packet that end the run; 0: none do

    /// The path of the public playlist.
    [[nodiscard]] std::string playlist() const { return folder + playlist_name; }

    /// Where it is written before it takes the place of the one before.
    [[nodiscard]] std::string temporary() const { return playlist() + ".tmp"; }

    /// The private folder, into which the segmenter writes.
    [[nodiscard]] std::string runFolder() const { return folder + ".run"; }
};

/// How the program is called, with all options and their defaults.
std::string liveUsage();

/// Reads the `count` arguments of a command line into `settings`, and looks at nothing else.
/// Returns a sentence that names what makes no sense, and what it takes; empty when all makes
/// sense.
std::string readArguments(LiveSettings& settings, int count, const char* const* arguments);
