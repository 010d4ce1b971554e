#pragma once

#include <span>
#include <string>

/// The file of the segment that is being written. It has no buffer: what was appended has reached
/// the file. No child process inherits it.
class SegmentFile {
public:
    SegmentFile() = default;
    SegmentFile(const SegmentFile&) = delete;
    SegmentFile& operator=(const SegmentFile&) = delete;
    ~SegmentFile() { close(); }

    /// Opens the file at `path`, empty; false when that fails. No file may be open.
    bool open(const std::string& path);

    /// Appends whole packets.
    ///
    /// Where they do not all fit, on a full disk, the file keeps those that do, and takes nothing
    /// more until another file is opened. Without an open file it does nothing.
    void append(std::span<const char> packets);

    void close();

private:
    static constexpr int none = -1;

    int descriptor = none;
    bool is_broken = false; // a packet is missing: none may follow
};
