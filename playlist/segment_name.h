#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Appends segment number `number` in ten decimal digits, such as "0000000012".
void appendSegmentNumber(std::string& text, std::uint32_t number);

/// Appends `prefix`, `number` in ten digits, and ".ts".
void appendNumberedName(std::string& text, std::string_view prefix, std::uint32_t number);

/// What stands in front of the number in the name of every file that the segmenter writes.
inline constexpr std::string_view segment_prefix = "vid.";

/// Appends the file name of segment `number` without a directory, such as "vid.0000000012.ts".
void appendSegmentName(std::string& text, std::uint32_t number);

/// That file name with `prefix` in front.
std::string segmentName(std::string prefix, std::uint32_t number);

/// The number in `name`, where that is `prefix`, ten digits and ".ts". Nothing when the name is
/// another one, or the number has more than 32 bits.
std::optional<std::uint32_t> numberInName(std::string_view name, std::string_view prefix);
