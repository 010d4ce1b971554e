#pragma once

class Options;

/// Replaces the playlist, an m3u8 media playlist (RFC 8216) at prefix + playlist_name, by one that
/// lists the segments `first` to `count` - 2, each with the configured duration.
///
/// `first` is also the media sequence number; `count` is the number of segment files opened so far,
/// the newest of which is still being written. The end tag is added when `is_final` is true or when
/// the window setting is 0. The playlist is written beside its place as ".tmp" and renamed, so that
/// a reader never finds part of one. Returns false, and leaves the old playlist as it was, when the
/// new one could not be written completely or renamed. A `count` of 0 lists nothing.
bool updateIndexFile(Options& settings, unsigned int first, unsigned int count, bool is_final);
