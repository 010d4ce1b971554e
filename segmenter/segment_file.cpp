#include "segmenter/segment_file.h"

#include "tsinspect/ts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <tuple>

bool SegmentFile::open(const std::string& path) {
    constexpr mode_t mode = // less the user's umask
        S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    is_broken = false;
    return descriptor != none;
}

void SegmentFile::append(std::span<const char> packets) {
    while (descriptor != none && !is_broken && !packets.empty()) {
        const ssize_t count = ::write(descriptor, packets.data(), packets.size());
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            is_broken = true;
            const off_t size = ::lseek(descriptor, 0, SEEK_CUR);
            std::ignore = ::ftruncate(descriptor, size - size % packet_size);
            return;
        }
        packets = packets.subspan(static_cast<std::size_t>(count));
    }
}

void SegmentFile::close() {
    if (descriptor != none) {
        ::close(descriptor);
        descriptor = none;
    }
}
