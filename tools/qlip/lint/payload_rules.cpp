#include "lint/payload_rules.h"

namespace qlip_tool {

std::unique_ptr<PayloadCheck> make_payload_check(std::string_view encoding) {
    if (encoding == "H263") return make_rfc2190_check();
    if (encoding == "H263-1998") return make_rfc4629_check();
    if (encoding == "MP4V-ES") return make_mpeg4_check();
    if (encoding == "H264") return make_h264_check();
    if (encoding == "AMR") return make_amr_check(false);
    if (encoding == "AMR-WB") return make_amr_check(true);
    return nullptr;
}

}  // namespace qlip_tool
