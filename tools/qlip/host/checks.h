// Checks of numbers on the command line; CLI11's own answer with the limits of the type.
#pragma once

#include <CLI/CLI.hpp>
#include <limits>
#include <string>

namespace qlip_tool {

namespace detail {
inline CLI::Validator number(bool (*holds)(double), const std::string& otherwise) {
    return {[=](const std::string& text) {
                double value = 0.0;
                const bool is_number = CLI::detail::lexical_cast(text, value);
                return is_number && holds(value) ? std::string()
                                                 : text + " is " + (is_number ? otherwise : "no number");
            },
            ""};
}
}  // namespace detail

inline CLI::Validator above_zero() {
    return detail::number([](double value) { return value > 0.0; }, "not above 0");
}

inline CLI::Validator not_negative() {
    return detail::number([](double value) { return value >= 0.0; }, "below 0");
}

}  // namespace qlip_tool
