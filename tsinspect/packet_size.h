#pragma once

#include <cstddef>
#include <optional>
#include <string>

/// Where packets of `size` bytes begin in `bytes`: the offset, less than `size`, from which on a
/// sync byte (ISO/IEC 13818-1, 2.4.3.3) stands every `size` bytes up to the end. Nothing where
/// there are none, or fewer than nine, which could be chance.
std::optional<std::size_t> findPackets(const std::string& bytes, std::size_t size);
