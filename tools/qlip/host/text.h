// Small pieces of readable text.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qlip_tool {

// "3.000 s", "1:02:03.500".
std::string duration_text(double seconds);

// "12,345".
std::string count_text(uint64_t number);

// Lower-case hexadecimal digits, `between` after every byte but the last.
std::string hex_text(std::span<const unsigned char> bytes, std::string_view between = "");

// A four-character code or other fixed-size field as text: zero padding dropped, what cannot be printed as
// '.'.
std::string printable(std::string_view field);

}  // namespace qlip_tool
