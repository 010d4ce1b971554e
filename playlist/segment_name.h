#pragma once

#include <cstdint>
#include <string>

/// Appends segment number `number` in ten decimal digits, such as "0000000012".
void appendSegmentNumber(std::string& text, std::uint32_t number);

/// Appends the file name of segment `number` without a directory, such as "vid.0000000012.ts".
void appendSegmentName(std::string& text, std::uint32_t number);

/// That file name with `prefix` in front.
std::string segmentName(std::string prefix, std::uint32_t number);
