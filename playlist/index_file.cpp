#include "playlist/index_file.h"

#include "playlist/segment_name.h"
#include "segmenter/options.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace {

std::string composePlaylist(const Options& settings, unsigned int first, unsigned int count,
                            bool is_final) {
    const std::string duration = std::to_string(settings.duration);
    std::string entry = "#EXTINF:" + duration + ",\n" + settings.url_prefix;
    if (!settings.url_prefix.empty()) {
        entry += '/';
    }

    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:" + duration + "\n#EXT-X-MEDIA-SEQUENCE:";
    appendSegmentNumber(text, first);
    text += '\n';
    const unsigned int end = count == 0 ? 0 : count - 1;
    for (unsigned int n = first; n < end; ++n) {
        text += entry;
        appendSegmentName(text, n);
        text += '\n';
    }
    if (settings.window == 0 || is_final) {
        text += "#EXT-X-ENDLIST\n";
    }
    return text;
}

/// Returns true when the file at `path` holds `text` and nothing else.
bool writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return file.good();
}

} // namespace

bool updateIndexFile(Options& settings, unsigned int first, unsigned int count, bool is_final) {
    const std::string path = settings.prefix + settings.playlist_name;
    const std::string temporary_path = path + ".tmp";
    return writeFile(temporary_path, composePlaylist(settings, first, count, is_final)) &&
           std::rename(temporary_path.c_str(), path.c_str()) == 0;
}
