#include "host/text.h"

#include <fmt/format.h>

#include <cmath>

namespace qlip_tool {

std::string duration_text(double seconds) {
    if (!std::isfinite(seconds) || seconds < 60.0) return fmt::format("{:.3f} s", seconds);
    const auto whole = static_cast<uint64_t>(seconds / 60.0);
    const double rest = seconds - 60.0 * static_cast<double>(whole);
    if (whole < 60) return fmt::format("{}:{:06.3f}", whole, rest);
    return fmt::format("{}:{:02}:{:06.3f}", whole / 60, whole % 60, rest);
}

std::string count_text(uint64_t number) {
    const std::string digits = std::to_string(number);
    std::string text;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) text += ',';
        text += digits[i];
    }
    return text;
}

std::string hex_text(std::span<const unsigned char> bytes, std::string_view between) {
    return fmt::format("{:02x}", fmt::join(bytes.begin(), bytes.end(), between));
}

std::string printable(std::string_view field) {
    std::string text(field.substr(0, field.find_last_not_of('\0') + 1));
    for (char& letter : text) {
        if (letter < ' ' || letter > '~') letter = '.';
    }
    return text;
}

}  // namespace qlip_tool
