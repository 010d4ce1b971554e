#include "playlist/segment_name.h"

void appendSegmentNumber(std::string& text, std::uint32_t number) {
    constexpr std::size_t digit_count = 10;
    text.append(digit_count, '0');
    for (auto digit = text.rbegin(); number != 0; ++digit, number /= 10) {
        *digit = static_cast<char>('0' + number % 10);
    }
}

void appendSegmentName(std::string& text, std::uint32_t number) {
    text += "vid.";
    appendSegmentNumber(text, number);
    text += ".ts";
}

std::string segmentName(std::string prefix, std::uint32_t number) {
    appendSegmentName(prefix, number);
    return prefix;
}
