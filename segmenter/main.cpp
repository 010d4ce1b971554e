#include "playlist/index_file.h"
#include "segmenter/cut.h"
#include "segmenter/marker.h"
#include "segmenter/options.h"
#include "segmenter/packet_io.h"
#include "segmenter/segment.h"
#include "tsinspect/pts.h"
#include "tsinspect/ts.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>

/// Copies the transport stream on standard input into segment files, and lists them in a playlist.
int main(int argc, char** argv) {
    std::array<char, io_buffer_size> output_buffer;
    std::ofstream segment_file;
    segment_file.rdbuf()->pubsetbuf(output_buffer.data(), output_buffer.size());

    Options settings;
    removeMarker();
    if (!settings.parseOptions(argc, const_cast<const char**>(argv))) {
        return 1;
    }

    PacketInput input;
    PacketBytes packet;
    TS header;
    std::uint64_t last_pts = 0;
    std::uint64_t next_cut = 0;
    unsigned int count = 0;
    unsigned int first = 0;

    while (input.read(packet)) {
        std::memcpy(&header, packet.data(), sizeof header);
        const int offset = syncPES(settings, header, packet.data());
        const std::uint64_t pts = holdsPTS(offset) ? decodePTS(packet.data() + offset) : last_pts;

        if (pts > next_cut && isCutPacket(settings, header)) {
            segment_file.close();
            next_cut = cutTime(settings, pts);
        }
        if (pts < last_pts) {
            next_cut = cutTime(settings, pts);
        }
        if (!segment_file.is_open() && !openSegment(settings, segment_file, first, count)) {
            break;
        }
        appendPacket(segment_file, packet);
        last_pts = pts;
    }

    updateIndexFile(settings, first, count + 1, true);
    if (count > 0) {
        writeMarker(count - 1);
    }
    return 0;
}
