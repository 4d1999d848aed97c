// What the tool tells people, on standard error.
#pragma once

#include <fmt/format.h>

#include <string_view>

namespace qlip_tool {

// Never fails: where standard error is full or closed there is nobody to tell.
void tell(std::string_view text);

template <typename... Args>
void say(fmt::format_string<Args...> format, Args&&... args) {
    tell(fmt::format(format, std::forward<Args>(args)...));
}

}  // namespace qlip_tool
