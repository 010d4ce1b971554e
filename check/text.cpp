#include "check/text.h"

#include "tsinspect/pts.h"

#include <iomanip>
#include <sstream>

std::string decimal(double number, int digits) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(digits) << number;
    const std::string text = out.str();
    const std::size_t end = text.find_last_not_of('0');
    return text.substr(0, text[end] == '.' ? end : end + 1);
}

std::string seconds(std::int64_t ticks) {
    return decimal(static_cast<double>(ticks) / ticks_per_second) + " s";
}

std::string range(const Lengths& lengths) {
    const std::string shortest = seconds(lengths.shortest);
    const std::string longest = seconds(lengths.longest);
    return shortest == longest ? longest : shortest + " to " + longest;
}

std::string pidName(std::uint32_t pid) {
    std::ostringstream out;
    out << "0x" << std::hex << std::setfill('0') << std::setw(2) << pid;
    return out.str();
}

std::string counted(std::uint64_t count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

std::string fill(std::string text, const Values& values) {
    for (const auto& [name, value] : values) {
        for (std::size_t at = text.find(name); at != std::string::npos;
             at = text.find(name, at + value.size())) {
            text.replace(at, name.size(), value);
        }
    }
    return text;
}
