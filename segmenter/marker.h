#pragma once

/// Removes the marker file of an earlier run, /var/run/vod but for tests. Where there is none, rm
/// says so on standard error.
void removeMarker();

/// Writes the path of segment `last`, always under /www/hls_vod/, into the marker file.
/// A failure goes unnoticed but for what the shell prints.
void writeMarker(unsigned int last);
