#pragma once

#include "tsinspect/lengths.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A number rounded to `digits` decimals, 1 or more, without zeros at the end: "4.04", "25".
std::string decimal(double number, int digits = 2);

/// `ticks` of the 90 kHz clock as seconds, such as "4.04 s".
std::string seconds(std::int64_t ticks);

/// "4 s", or "4 s to 5.5 s".
std::string range(const Lengths& lengths);

/// A PID as "0x100" or "0x00".
std::string pidName(std::uint32_t pid);

/// `count` and `noun` in the number that fits: "1 segment", "2 segments".
std::string counted(std::uint64_t count, std::string_view noun);

/// Names in braces, and what to put in their places.
using Values = std::vector<std::pair<std::string, std::string>>;

/// `text` with `values` in the places of their names, each as often as it comes.
std::string fill(std::string text, const Values& values);
