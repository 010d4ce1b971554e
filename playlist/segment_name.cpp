#include "playlist/segment_name.h"

std::string segmentNumber(std::uint32_t number) {
    constexpr std::size_t digit_count = 10;
    std::string digits(digit_count, '0');
    for (auto digit = digits.rbegin(); number != 0; ++digit, number /= 10) {
        *digit = static_cast<char>('0' + number % 10);
    }
    return digits;
}

std::string segmentName(std::uint32_t number) { return "vid." + segmentNumber(number) + ".ts"; }
