#include "align/aligner.h"
#include "tests/packets.h"

#include <cstdlib>

/// Gives the sections that begin behind a packet's header, and end in it, the right checksum: no
/// chance would.
static void setChecksums(std::string& stream) {
    for (std::size_t at = 5; at + packet_size - 5 <= stream.size(); at += packet_size) {
        const unsigned char length[] = {static_cast<unsigned char>(stream[at + 1] & 0x0F),
                                        static_cast<unsigned char>(stream[at + 2])};
        const std::size_t size = 3U + pidField(length, 0);
        if (stream[at - 1] == 0 && size >= 3 + crc_size && size <= packet_size - 5) {
            stream.replace(at, size, section(stream.substr(at, size - crc_size)));
        }
    }
}

/// Aligns any bytes, whose tables have right checksums, in two pieces. What comes out must be whole
/// packets, and few more than went in.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::string bytes(data, data + size);
    setChecksums(bytes);
    std::size_t count = 0;
    Aligner aligner(
        1 + static_cast<int>(size % 7), [](const AlignedSegment&) {}, [](const std::string&) {});
    const auto collect = [&] {
        count += aligner.output().size();
        aligner.clearOutput();
    };
    aligner.take(std::span(bytes).first(size / 3));
    collect();
    aligner.take(std::span(bytes).subspan(size / 3));
    collect();
    aligner.end();
    collect();
    if (count % packet_size != 0 || !aligner.output().empty() || count > 20 * size) {
        std::abort();
    }
    return 0;
}
