#include "segmenter/segment_file.h"
#include "tests/support.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace {

std::vector<int> failures; // of the next writes, the last one first: an error, or 0 for nothing

} // namespace

/// Stands in front of the system's own.
extern "C" ssize_t write(int file, const void* bytes, std::size_t size) {
    if (failures.empty()) {
        const iovec all = {const_cast<void*>(bytes), size};
        return ::writev(file, &all, 1);
    }
    errno = failures.back();
    failures.pop_back();
    return errno == 0 ? 0 : -1;
}

TEST(SegmentFile, GoesOnAfterAnInterruptedWriteAndTakesNoMoreAfterAFailedOne) {
    for (const int failure : {0, EIO}) {
        const Folder folder;
        SegmentFile file;
        EXPECT_TRUE(file.open("segment"));
        failures = {EINTR, EINTR};
        file.append(other(2));
        EXPECT_EQ(readFile("segment"), other(2));
        failures = {failure};
        file.append(table());
        file.append(table());
        EXPECT_EQ(readFile("segment"), other(2)) << "error " << failure;
    }
}
