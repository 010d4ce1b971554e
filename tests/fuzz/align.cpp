#include "align/aligner.h"

#include <cstdlib>
#include <vector>

namespace {

/// Gives the sections that begin behind a packet's header, and end in it, the right checksum: no
/// chance would.
void setChecksums(std::string& stream) {
    constexpr std::size_t section_at = 5;
    for (std::size_t at = 0; at + packet_size <= stream.size(); at += packet_size) {
        std::vector<unsigned char> bytes(&stream[at + section_at], &stream[at] + packet_size);
        const std::size_t size = 3U + ((bytes[1] & 0x0FU) << 8U | bytes[2]);
        if (stream[at + section_at - 1] != 0 || (bytes[0] & ~2U) != 0 || size < 3 + crc_size ||
            size > bytes.size()) {
            continue;
        }
        bytes.resize(size - crc_size);
        const std::uint32_t crc = sectionChecksum(bytes);
        for (std::size_t byte = 0; byte < crc_size; ++byte) {
            stream[at + section_at + bytes.size() + byte] =
                static_cast<char>(crc >> (24 - 8 * byte));
        }
    }
}

} // namespace

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
