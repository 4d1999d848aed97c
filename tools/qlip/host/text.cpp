#include "host/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
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

std::string base64_text(std::span<const unsigned char> bytes) {
    static constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const size_t count = std::min<size_t>(3, bytes.size() - at);
        std::array<unsigned char, 3> group = {};
        std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(at), count, group.begin());
        text += kAlphabet[group[0] / 4];
        text += kAlphabet[group[0] % 4 * 16 + group[1] / 16];
        text += count > 1 ? kAlphabet[group[1] % 16 * 4 + group[2] / 64] : '=';
        text += count > 2 ? kAlphabet[group[2] % 64] : '=';
    }
    return text;
}

std::string printable(std::string_view field) {
    std::string text(field.substr(0, field.find_last_not_of('\0') + 1));
    for (char& letter : text) {
        if (letter < ' ' || letter > '~') letter = '.';
    }
    return text;
}

}  // namespace qlip_tool
