#include <fmt/format.h>

#include "lint/fields.h"
#include "lint/payload_rules.h"

namespace qlip_tool {
namespace {

// RFC 2190 5.1 to 5.3: F P SBIT(3) EBIT(3) SRC(3) I U S A ... in modes A (4 bytes), B (8) and C (12).
class Rfc2190Check : public PayloadCheck {
  public:
    void check(const PayloadView& packet, Findings& findings) override {
        const Fields fields(packet.payload);
        const bool mode_a = (fields.u8(0) & 0x80U) == 0;
        const bool mode_c = !mode_a && (fields.u8(0) & 0x40U) != 0;
        const size_t header = mode_a ? 4 : mode_c ? 12 : 8;
        if (packet.payload.size() <= header) {
            findings.add(
                RuleId::H263ModeHeader, packet.place,
                fmt::format("{} bytes hold no header of mode {} with data behind it", packet.payload.size(),
                            mode_a   ? 'A'
                            : mode_c ? 'C'
                                     : 'B'));
            ended_at_.reset();
            return;
        }
        check_header(packet, fields, mode_a, findings);
        check_bits(packet, fields, findings);
        if (packet.first) check_start(packet, fields, mode_a, header, findings);
    }

  private:
    static void check_header(const PayloadView& packet, const Fields& fields, bool mode_a,
                             Findings& findings) {
        const unsigned int source = fields.u8(1) >> 5;
        const uint32_t reserved = mode_a ? fields.u16(1) >> 5 & 15U : fields.u8(3) & 3U;
        if (source == 0 || source > 5)
            findings.add(RuleId::H263ModeHeader, packet.place,
                         fmt::format("source format {} is none", source));
        if (reserved != 0) findings.add(RuleId::H263ModeHeader, packet.place, "its reserved bits are not 0");
    }

    void check_bits(const PayloadView& packet, const Fields& fields, Findings& findings) {
        const unsigned int begins_at = fields.u8(0) >> 3 & 7U;
        const unsigned int expected = packet.first ? 0 : (8 - ended_at_.value_or(0)) & 7U;
        if ((packet.first || ended_at_) && begins_at != expected)
            findings.add(
                RuleId::H263Continuity, packet.place,
                fmt::format("it leaves out {} bits in front, {} were sent before", begins_at, expected));
        ended_at_ = fields.u8(0) & 7U;
    }

    static void check_start(const PayloadView& packet, const Fields& fields, bool mode_a, size_t header,
                            Findings& findings) {
        if (mode_a && fields.u16(header) == 0 && (fields.u8(header + 2) & 0xFCU) == 0x80U) return;
        findings.add(RuleId::H263ModeHeader, packet.place,
                     "the picture does not begin in mode A with its start code");
    }

    std::optional<unsigned int> ended_at_;  // EBIT of the packet before
};

// RFC 4629 5.1: RR(5) P V PLEN(6) PEBIT(3)
class Rfc4629Check : public PayloadCheck {
  public:
    void check(const PayloadView& packet, Findings& findings) override {
        const Fields fields(packet.payload);
        const uint32_t header = fields.u16(0);
        const bool starts = (header >> 10 & 1U) != 0, redundancy = (header >> 9 & 1U) != 0;
        const size_t extra = header >> 3 & 63U;
        const auto wrong = [&](RuleId id, const char* what) { findings.add(id, packet.place, what); };
        const size_t behind = 2 + (redundancy ? 1U : 0U) + extra;
        if (packet.payload.size() <= behind)
            return wrong(RuleId::H263PlusHeader, "it holds no data behind its header");
        if (header >> 11 != 0) wrong(RuleId::H263PlusHeader, "its reserved bits are not 0");
        if (extra == 0 && (header & 7U) != 0)
            wrong(RuleId::H263PlusHeader, "PEBIT is set without a picture header");
        // With P the two zero bytes of a start code are left out, and the next begins with a 1 bit (6.1).
        if (starts && (fields.u8(behind) & 0x80U) == 0)
            wrong(RuleId::H263PlusStart, "P is set, but no start code is there");
        if (packet.first && (!starts || (fields.u8(behind) & 0xFCU) != 0x80U))
            wrong(RuleId::H263PlusStart, "the picture does not begin with P and its start code");
    }
};

}  // namespace

std::unique_ptr<PayloadCheck> make_rfc2190_check() {
    return std::make_unique<Rfc2190Check>();
}

std::unique_ptr<PayloadCheck> make_rfc4629_check() {
    return std::make_unique<Rfc4629Check>();
}

}  // namespace qlip_tool
