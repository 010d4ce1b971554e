#pragma once

/// Removes the marker file of an earlier run, /var/run/vod except in tests. Where there is none, rm
/// says so on standard error.
void removeMarker();

/// Writes the path of segment `last`, always under /www/hls_vod/, into the marker file.
/// A failure is not reported, except by the shell.
void writeMarker(unsigned int last);
