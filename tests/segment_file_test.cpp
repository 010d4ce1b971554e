#include "segmenter/segment_file.h"
#include "tests/support.h"

#include <sys/uio.h>
#include <unistd.h>

#include <span>

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
static std::span<const int> failures; // of the next writes: their errors, 0 to write nothing

// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's own
extern "C" ssize_t write(int file, const void* bytes, std::size_t size) {
    if (failures.empty()) {
        const iovec all = {const_cast<void*>(bytes), size};
        return ::writev(file, &all, 1);
    }
    errno = failures.front();
    failures = failures.subspan(1);
    return errno == 0 ? 0 : -1;
}

TEST(SegmentFile, GoesOnAfterAnInterruptedWriteAndTakesNoMoreAfterOneThatWritesNothing) {
    const Folder folder;
    const int errors[] = {EINTR, EINTR, 0};
    SegmentFile file;
    EXPECT_TRUE(file.open("segment"));
    failures = std::span(errors).first(2);
    file.append(other(2));
    failures = std::span(errors).last(1);
    file.append(table());
    file.append(table());
    EXPECT_EQ(Stream{readFile("segment")}, Stream{other(2)});
}
