// Payload formats as a strict receiver checks them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "lint/findings.h"

namespace qlip_tool {

struct PayloadView {
    std::span<const unsigned char> payload;
    bool first, last;  // of the picture
    Place place;
};

class PayloadCheck {
  public:
    PayloadCheck() = default;
    virtual ~PayloadCheck() = default;
    PayloadCheck(const PayloadCheck&) = delete;
    PayloadCheck& operator=(const PayloadCheck&) = delete;

    virtual void check(const PayloadView& packet, Findings& findings) = 0;
};

// By the encoding name of the format (RFC 3551 and those of the formats); null for others.
std::unique_ptr<PayloadCheck> make_payload_check(std::string_view encoding);

std::unique_ptr<PayloadCheck> make_rfc2190_check();
std::unique_ptr<PayloadCheck> make_rfc4629_check();
std::unique_ptr<PayloadCheck> make_mpeg4_check();
std::unique_ptr<PayloadCheck> make_h264_check();
std::unique_ptr<PayloadCheck> make_amr_check(bool wideband);

// NAL unit types that an H.264 payload holds.
struct H264Contents {
    uint32_t types = 0;  // a bit each
    bool aggregated = false;

    bool has(unsigned int type) const { return (types >> type & 1U) != 0; }
    bool has_slice() const { return (types & 0x3EU) != 0; }  // 1 to 5, ITU-T H.264 table 7-1
};
H264Contents h264_contents(std::span<const unsigned char> payload);

}  // namespace qlip_tool
