#include "tests/support/samples.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qlip_test {

Bytes read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

Bytes sample(const std::string& name) {
    return read_file(std::string(QLIP_SAMPLES) + "/" + name);
}

const std::vector<std::string>& sample_names() {
    static const std::vector<std::string> names = {"aac_refused.3gp",
                                                   "amrnb.3gp",
                                                   "amrnb_dtx_faststart.3gp",
                                                   "amrnb_hinted.3gp",
                                                   "amrwb.3gp",
                                                   "av_h263_amrnb_hinted.3gp",
                                                   "h263.3gp",
                                                   "h263_cif_faststart.3gp",
                                                   "h263_hinted_pt34.3gp",
                                                   "h263_hinted_pt96.3gp",
                                                   "h264.3gp",
                                                   "h264_hinted.3gp",
                                                   "mpeg4.3gp",
                                                   "mpeg4_hinted.3gp",
                                                   "mpeg4_with_aac.3gp"};
    return names;
}

}  // namespace qlip_test
