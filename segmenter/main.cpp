#include "playlist/index_file.h"
#include "process/signals.h"
#include "segmenter/cut_rule.h"
#include "segmenter/marker.h"
#include "segmenter/options.h"
#include "segmenter/packet_input.h"
#include "segmenter/segment.h"
#include "segmenter/segment_file.h"

/// Copies the transport stream on standard input into segment files, and lists them in a playlist.
int main(int argc, char** argv) {
    fillStandardDescriptors();
    surviveFailedWrites();
    endInputOnSignals();
    SegmentFile segment_file;
    Options settings;
    removeMarker();
    if (!settings.parseOptions(argc, const_cast<const char**>(argv))) {
        return 1;
    }

    PacketInput input;
    CutRule rule(settings);
    unsigned int count = 0;
    unsigned int first = 0;

    bool is_open = true;
    while (is_open && input.read()) {
        // Packets of one segment that lie together are written together.
        const char* unwritten = input.begin();
        for (char* packet = input.begin(); packet != input.end(); packet += packet_size) {
            if (rule.beginsSegment(packet)) {
                segment_file.append({unwritten, packet});
                segment_file.close();
                unwritten = packet;
                is_open = openSegment(settings, segment_file, first, count);
                if (!is_open) {
                    break;
                }
            }
        }
        segment_file.append({unwritten, input.end()}); // nothing, where no file could be opened
    }

    // The playlist leaves out the newest segment, as it is still being written; now it is finished.
    updateIndexFile(settings, first, count + 1, true);
    if (count > 0) {
        holdBackEndingSignals();
        writeMarker(count - 1);
    }
    return 0;
}
