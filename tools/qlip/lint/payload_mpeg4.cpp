#include <fmt/format.h>

#include <algorithm>

#include "lint/fields.h"
#include "lint/payload_rules.h"

namespace qlip_tool {
namespace {

// Start codes (ISO/IEC 14496-2 6.2.1): visual object sequence, visual object, layers, GOVs and pictures.
bool is_header(unsigned int code) {
    constexpr unsigned int kLastLayer = 0x2F, kSequence = 0xB0, kGroup = 0xB3, kObject = 0xB5,
                           kPicture = 0xB6;
    return code <= kLastLayer || code == kSequence || code == kGroup || code == kObject || code == kPicture;
}

// RFC 6416 5.2
class Mpeg4Check : public PayloadCheck {
  public:
    void check(const PayloadView& packet, Findings& findings) override {
        const Fields fields(packet.payload);
        const bool begins = fields.u8(0) == 0 && fields.u8(1) == 0 && fields.u8(2) == 1;
        if (packet.first && !begins) {
            findings.add(
                RuleId::Mpeg4Start, packet.place,
                fmt::format("it begins with {:02x} {:02x} {:02x}", fields.u8(0), fields.u8(1), fields.u8(2)));
        }
        check_inside(packet, begins, findings);
    }

  private:
    // Headers may follow each other at the start; behind part of a picture there may be none.
    static void check_inside(const PayloadView& packet, bool begins, Findings& findings) {
        constexpr unsigned char kPrefix[] = {0, 0, 1};
        const auto payload = packet.payload;
        bool in_picture = !begins;
        for (auto at = payload.begin();; ++at) {
            at = std::search(at, payload.end(), std::begin(kPrefix), std::end(kPrefix));
            if (payload.end() - at < 4) return;
            const unsigned int code = at[3];
            if (in_picture && is_header(code)) {
                findings.add(
                    RuleId::Mpeg4SplitHeader, packet.place,
                    fmt::format("start code {:02x} at byte {} of the payload", code, at - payload.begin()));
                return;
            }
            in_picture = in_picture || code == 0xB6;
        }
    }
};

}  // namespace

std::unique_ptr<PayloadCheck> make_mpeg4_check() {
    return std::make_unique<Mpeg4Check>();
}

}  // namespace qlip_tool
