#pragma once

#include <cstdint>
#include <string>

/// How many segments the public playlist lists where the command line says nothing.
inline constexpr std::int32_t default_listed = 5;

/// The settings of segmenter-publish.
struct PublishSettings {
    std::string from{};          ///< the folder that the segmenter writes into, with "/" at its end
    std::string to{};            ///< the public folder, likewise
    std::string playlist_name{}; ///< of the playlists in both
    std::int32_t listed = default_listed; ///< segments that the public playlist lists
    std::int32_t mux_type = 0;            ///< as the segmenter's
    std::int32_t end = 0;                 ///< 1: a clean end of the run ends the stream

    /// Gives every field its default, then what the command line says. Returns false when it
    /// printed the help text, on --help or without any argument.
    bool parseOptions(int argc, const char** argv);

    /// The path of the public playlist.
    [[nodiscard]] std::string publicPlaylist() const { return to + playlist_name; }

    /// Why nothing can be published with these settings, as a sentence; empty when it can.
    [[nodiscard]] std::string refusal() const;
};
