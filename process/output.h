#pragma once

#include <span>

/// Writes all of `bytes` to `descriptor`, and waits where that takes time. Returns 0, or the error
/// number (errno.h) where not all can be written: EPIPE when nobody reads it any more.
int writeAll(int descriptor, std::span<const char> bytes);
