// What another program says.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

namespace qlip_test {

inline std::string output_of(const std::string& command) {
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> buffer;
    for (size_t got; (got = fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        text.append(buffer.data(), got);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return text;
}

}  // namespace qlip_test
