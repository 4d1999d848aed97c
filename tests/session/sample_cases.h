// Every sample file with every medium that it offers.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/samples.h"

namespace qlip_test {

struct SampleCase {
    const char* file;
    const char* mode;
    bool hinted;
};

// A file's name tells what it holds.
inline const std::vector<SampleCase>& sample_cases() {
    static const std::vector<SampleCase> cases = [] {
        std::vector<SampleCase> found;
        for (const std::string& name : sample_names()) {
            const auto says = [&](const char* word) { return name.find(word) != std::string::npos; };
            if (says("amr")) found.push_back({name.c_str(), "ra", false});
            if (says("h26") || says("mpeg4")) found.push_back({name.c_str(), "rv", says("hinted")});
        }
        return found;
    }();
    return cases;
}

inline std::string sample_case_name(const testing::TestParamInfo<SampleCase>& info) {
    const std::string file = info.param.file;
    return file.substr(0, file.find('.')) + (info.param.mode[1] == 'a' ? "_audio" : "_video");
}

inline void PrintTo(const SampleCase& sample_case, std::ostream* out) {
    *out << sample_case.file << " " << sample_case.mode;
}

}  // namespace qlip_test
