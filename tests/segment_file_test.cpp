#include "segmenter/segment_file.h"
#include "tests/support.h"

#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <span>

namespace {

/// How the next writes fail: by these errors, or with 0 by writing nothing.
std::span<const int>& failures() {
    static std::span<const int> errors;
    return errors;
}

} // namespace

/// Stands in front of the system's own.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" ssize_t write(int file, const void* bytes, std::size_t size) {
    if (failures().empty()) {
        const iovec all = {const_cast<void*>(bytes), size};
        return ::writev(file, &all, 1);
    }
    errno = failures().front();
    failures() = failures().subspan(1);
    return errno == 0 ? 0 : -1;
}

TEST(SegmentFile, GoesOnAfterAnInterruptedWriteAndTakesNoMoreAfterAFailedOne) {
    const int interruptions[] = {EINTR, EINTR};
    for (const int failure : {0, EIO}) {
        const Folder folder;
        SegmentFile file;
        EXPECT_TRUE(file.open("segment"));
        failures() = interruptions;
        file.append(other(2));
        EXPECT_EQ(readFile("segment"), other(2));
        failures() = {&failure, 1};
        file.append(table());
        file.append(table());
        EXPECT_EQ(readFile("segment"), other(2)) << "error " << failure;
    }
}
