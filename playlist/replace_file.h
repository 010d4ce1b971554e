#pragma once

#include <string>

/// Replaces the file at `path` by one that holds `text`, in one step: it is written beside its
/// place as ".tmp" and renamed, so that a reader never finds part of one. Returns false, and leaves
/// the old file as it was, when the new one could not be written completely or renamed.
bool replaceFile(const std::string& path, const std::string& text);
