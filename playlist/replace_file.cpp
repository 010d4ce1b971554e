#include "playlist/replace_file.h"

#include <cstdio>
#include <fstream>

namespace {

/// Writes `text` to the file at `path`; true if that succeeded.
bool writeFile(const std::string& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    return file.good();
}

} // namespace

bool replaceFile(const std::string& path, const std::string& text) {
    const std::string temporary_path = path + ".tmp";
    return writeFile(temporary_path, text) &&
           std::rename(temporary_path.c_str(), path.c_str()) == 0;
}
