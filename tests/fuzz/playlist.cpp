#include "playlist/live_playlist.h"

#include <cstdlib>

/// Reads any bytes as a public playlist. What is taken for one must be written again as it was, and
/// go on.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(data, data + size);
    if (auto playlist = readPlaylist(text)) {
        if (playlistText(*playlist) != text) {
            std::abort();
        }
        appendSegment(*playlist, {.length = 4000}, 5);
    }
    return 0;
}
