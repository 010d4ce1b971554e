#include "playlist/index_file.h"

#include "playlist/replace_file.h"
#include "playlist/segment_name.h"
#include "segmenter/options.h"

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

} // namespace

bool updateIndexFile(Options& settings, unsigned int first, unsigned int count, bool is_final) {
    return replaceFile(settings.prefix + settings.playlist_name,
                       composePlaylist(settings, first, count, is_final));
}
