#pragma once

#include <cstdint>
#include <string>

/// The playlist's file name where the command line gives none.
inline constexpr const char* default_playlist_name = "live.m3u8";

/// Seconds that a segment lasts where nothing says otherwise.
inline constexpr std::int32_t default_duration = 5;

/// The settings of one run: filled once from the command line, only read afterwards.
///
/// No value is checked for range; whoever reads a field says what odd values do.
class Options {
public:
    std::string prefix{};        ///< in front of every file name; for a directory, end it in "/"
    std::string url_prefix{};    ///< in front of the playlist's segment names, followed by "/"
    std::string playlist_name{}; ///< file name of the playlist, after `prefix`
    std::int32_t duration = default_duration; ///< length of a segment in seconds
    std::int32_t window = 0;                  ///< segment files kept on disk; 0 keeps all
    std::int32_t mux_type = 0;                ///< muxer that made the input: 0 FFmpeg, 1 GStreamer

    /// Gives every field its default, then what the command line says.
    ///
    /// Takes main's own arguments; argv[0] is not read. Returns false when it printed the help
    /// text, on --help or without any argument, and the run should end. Unknown options are
    /// reported on standard error and skipped.
    bool parseOptions(int argc, const char** argv);
};
