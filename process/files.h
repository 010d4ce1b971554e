#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

/// What is at a path.
struct FileStatus {
    bool is_regular = false; ///< false for a link too, and where nothing is
    std::int64_t size = 0;
    std::int64_t written = 0; ///< when it was last written, in milliseconds since 1970, UTC
};
FileStatus statusOf(const std::string& path);

/// The regular files in `folder`, by name.
std::map<std::string, FileStatus> regularFiles(const std::string& folder);

/// The text of the regular file at `path`; empty when it is a megabyte or more. Nothing, with errno
/// set, where it cannot be read, or something else is there (EINVAL).
std::optional<std::string> readSmallFile(const std::string& path);

/// Writes `text` to a new file at `path`, in place of what is there: a link or a FIFO is removed
/// and not followed. False, with errno set, where that fails.
bool writeNewFile(const std::string& path, const std::string& text);

/// Waits until all that was done in the file system of `folder` is on its medium. False, with errno
/// set, where that fails.
bool syncFileSystem(const std::string& folder);
