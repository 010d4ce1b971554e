#pragma once

#include <cstdint>
#include <string>

/// Segment number `number` in ten decimal digits, such as "0000000012".
std::string segmentNumber(std::uint32_t number);

/// File name of segment `number` without a directory, such as "vid.0000000012.ts".
std::string segmentName(std::uint32_t number);
