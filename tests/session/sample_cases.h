// Every sample file with every medium that it offers.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

namespace qlip_test {

struct SampleCase {
    const char* file;
    const char* mode;
    bool hinted;
};

inline const std::vector<SampleCase>& sample_cases() {
    static const std::vector<SampleCase> cases = {
        {"amrnb.3gp", "ra", false},
        {"amrnb_dtx_faststart.3gp", "ra", false},
        {"amrnb_hinted.3gp", "ra", false},
        {"amrwb.3gp", "ra", false},
        {"av_h263_amrnb_hinted.3gp", "ra", false},
        {"av_h263_amrnb_hinted.3gp", "rv", true},
        {"h263.3gp", "rv", false},
        {"h263_cif_faststart.3gp", "rv", false},
        {"h263_hinted_pt34.3gp", "rv", true},
        {"h263_hinted_pt96.3gp", "rv", true},
        {"h264.3gp", "rv", false},
        {"h264_hinted.3gp", "rv", true},
        {"mpeg4.3gp", "rv", false},
        {"mpeg4_hinted.3gp", "rv", true},
        {"mpeg4_with_aac.3gp", "rv", false},
    };
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
