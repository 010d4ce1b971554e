#include "playlist/segment_name.h"

#include <charconv>
#include <system_error>

namespace {

constexpr std::size_t digit_count = 10;
constexpr std::string_view suffix = ".ts";

} // namespace

void appendSegmentNumber(std::string& text, std::uint32_t number) {
    text.append(digit_count, '0');
    for (auto digit = text.rbegin(); number != 0; ++digit, number /= 10) {
        *digit = static_cast<char>('0' + number % 10);
    }
}

void appendNumberedName(std::string& text, std::string_view prefix, std::uint32_t number) {
    text += prefix;
    appendSegmentNumber(text, number);
    text += suffix;
}

void appendSegmentName(std::string& text, std::uint32_t number) {
    appendNumberedName(text, segment_prefix, number);
}

std::string segmentName(std::string prefix, std::uint32_t number) {
    appendSegmentName(prefix, number);
    return prefix;
}

std::optional<std::uint32_t> numberInName(std::string_view name, std::string_view prefix) {
    if (name.size() != prefix.size() + digit_count + suffix.size() || !name.starts_with(prefix) ||
        !name.ends_with(suffix)) {
        return std::nullopt;
    }
    const char* digits = name.data() + prefix.size();
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(digits, digits + digit_count, number);
    return error == std::errc() && end == digits + digit_count ? std::optional(number)
                                                               : std::nullopt;
}
