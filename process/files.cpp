#include "process/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <tuple>

FileStatus statusOf(const std::string& path) {
    struct stat status = {};
    if (::lstat(path.c_str(), &status) != 0) {
        return {};
    }
    const std::int64_t seconds = status.st_mtim.tv_sec;
    return {S_ISREG(status.st_mode), status.st_size,
            1000 * seconds + status.st_mtim.tv_nsec / 1'000'000};
}

std::map<std::string, FileStatus> regularFiles(const std::string& folder) {
    std::map<std::string, FileStatus> files;
    std::error_code error;
    for (std::filesystem::directory_iterator file(folder, error), end; !error && file != end;
         file.increment(error)) {
        if (const FileStatus status = statusOf(file->path()); status.is_regular) {
            files[file->path().filename()] = status;
        }
    }
    return files;
}

std::optional<std::string> readSmallFile(const std::string& path) {
    constexpr std::int64_t largest = 1'000'000;
    errno = EINVAL;
    const FileStatus status = statusOf(path);
    if (!status.is_regular) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(status.size < largest ? status.size : 0), '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    return file ? std::optional(text) : std::nullopt;
}

bool writeNewFile(const std::string& path, const std::string& text) {
    std::ignore = ::unlink(path.c_str());
    std::FILE* file = std::fopen(path.c_str(), "wxe");
    if (file == nullptr) {
        return false;
    }
    const bool is_taken = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && is_taken;
}

bool syncFileSystem(const std::string& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool is_synced = descriptor >= 0 && ::syncfs(descriptor) == 0;
    const int error = errno;
    ::close(descriptor);
    errno = error;
    return is_synced;
}
