#include <fmt/format.h>

#include "formats/amr.h"
#include "lint/fields.h"
#include "lint/payload_rules.h"

namespace qlip_tool {
namespace {

constexpr auto kNarrowband = qlip::narrowband_speech_bytes();
constexpr auto kWideband = qlip::wideband_speech_bytes();

// RFC 4867 4.4.2: F, the type, Q, two zero bits.
constexpr unsigned int kFollowed = 0x80;
constexpr unsigned int kPadding = 0x03;

// 3GPP TS 26.101 table 1a, 3GPP TS 26.201 table 1a.
bool is_defined(bool wideband, unsigned int type) {
    if (type == qlip::kAmrNoData) return true;
    return wideband ? type <= qlip::kAmrWidebandSilence || type == 14 : type < qlip::kAmrFirstWithoutSpeech;
}

size_t speech_bytes(bool wideband, unsigned int type) {
    return (wideband ? kWideband : kNarrowband)[type];
}

// Octet-aligned, one channel, no interleaving and no checksums: what the library sends.
class AmrCheck : public PayloadCheck {
  public:
    explicit AmrCheck(bool wideband) : wideband_(wideband) {}

    void check(const PayloadView& packet, Findings& findings) override {
        const Fields fields(packet.payload);
        const auto wrong = [&](RuleId id, std::string what) {
            findings.add(id, packet.place, std::move(what));
        };
        if (packet.payload.size() < 2) return wrong(RuleId::AmrHeader, "it has no contents");
        if ((fields.u8(0) & 0x0FU) != 0)
            wrong(RuleId::AmrHeader, "the reserved bits of its header are not 0");
        size_t at = 1, speech = 0;
        bool more = true;
        for (; more && at < packet.payload.size(); ++at) {
            const auto entry = packet.payload[at];
            more = (entry & kFollowed) != 0;
            const unsigned int type = qlip::amr_storage_type(entry);
            if ((entry & kPadding) != 0) wrong(RuleId::AmrHeader, "the padding of a contents entry is not 0");
            if (!is_defined(wideband_, type)) wrong(RuleId::AmrContents, fmt::format("frame type {}", type));
            if (type == qlip::kAmrNoData) wrong(RuleId::AmrNoData, "a NO_DATA frame");
            speech += speech_bytes(wideband_, type);
        }
        if (more || at + speech != packet.payload.size()) {
            wrong(RuleId::AmrContents, fmt::format("its entries promise {} bytes of speech, {} are there",
                                                   speech, packet.payload.size() - at));
        }
    }

  private:
    bool wideband_;
};

}  // namespace

std::unique_ptr<PayloadCheck> make_amr_check(bool wideband) {
    return std::make_unique<AmrCheck>(wideband);
}

}  // namespace qlip_tool
