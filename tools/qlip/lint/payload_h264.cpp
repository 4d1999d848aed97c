#include <fmt/format.h>

#include "formats/nal.h"
#include "lint/fields.h"
#include "lint/payload_rules.h"

namespace qlip_tool {
namespace {

constexpr unsigned int kStapA = 24;  // RFC 6184 5.7.1
constexpr unsigned int kForbidden = 0x80;
constexpr unsigned int kLastSingle = 23;

// Calls with each unit of a STAP-A. False when their sizes do not fill it exactly.
template <typename Take>
bool each_aggregated(std::span<const unsigned char> payload, Take take) {
    const Fields fields(payload);
    size_t at = 1;
    while (at + 2 < payload.size()) {
        const size_t size = fields.u16(at);
        if (size == 0 || size > payload.size() - at - 2) return false;
        take(payload[at + 2]);
        at += 2 + size;
    }
    return at == payload.size() && at > 1;
}

class H264Check : public PayloadCheck {
  public:
    void check(const PayloadView& packet, Findings& findings) override {
        if (packet.first) slice_seen_ = false;
        if (packet.payload.empty()) return;
        const unsigned int type = packet.payload[0] & qlip::kNalTypeMask;
        const auto wrong = [&](RuleId id, std::string what) {
            findings.add(id, packet.place, std::move(what));
        };
        if ((packet.payload[0] & kForbidden) != 0) wrong(RuleId::H264UnitType, "its forbidden bit is set");
        const bool known = (type >= 1 && type <= kLastSingle) || type == kStapA || type == qlip::kNalFuA;
        if (!known) wrong(RuleId::H264UnitType, fmt::format("its type is {}", type));
        if (type == qlip::kNalFuA) {
            check_fragment(packet, findings);
        } else {
            if (open_)
                wrong(RuleId::H264Fragments, "a unit begins before the last fragment of the one before");
            open_ = false;
        }
        if (type == kStapA && !each_aggregated(packet.payload, [](unsigned char) {}))
            wrong(RuleId::H264Aggregates, "the sizes of its units do not fill it");
        check_sets(packet, findings);
    }

  private:
    void check_fragment(const PayloadView& packet, Findings& findings) {
        const Fields fields(packet.payload);
        const auto wrong = [&](const char* what) { findings.add(RuleId::H264Fragments, packet.place, what); };
        const bool start = (fields.u8(1) & qlip::kFuStart) != 0, end = (fields.u8(1) & qlip::kFuEnd) != 0;
        const unsigned int unit = (fields.u8(0) & qlip::kNalNriMask) | (fields.u8(1) & qlip::kNalTypeMask);
        if (packet.payload.size() <= static_cast<size_t>(qlip::kFuBytes)) wrong("a fragment without data");
        if (start && end) wrong("one fragment is both the first and the last");
        if (start == open_)
            wrong(start ? "a unit begins before the last fragment of the one before"
                        : "a fragment without the first one");
        if (!start && open_ && unit != unit_) wrong("fragments of one unit differ in type or importance");
        if (packet.last && !end) wrong("the picture ends inside a unit");
        open_ = !end;
        unit_ = unit;
    }

    void check_sets(const PayloadView& packet, Findings& findings) {
        const H264Contents contents = h264_contents(packet.payload);
        const bool sets = contents.has(qlip::kNalSequenceSet) || contents.has(qlip::kNalPictureSet);
        if (sets && slice_seen_)
            findings.add(RuleId::H264ParameterSets, packet.place,
                         "parameter sets behind a slice of the picture");
        slice_seen_ = slice_seen_ || contents.has_slice();
    }

    bool open_ = false;        // between the fragments of a unit
    unsigned int unit_ = 0;    // its type and importance
    bool slice_seen_ = false;  // in this picture
};

}  // namespace

H264Contents h264_contents(std::span<const unsigned char> payload) {
    H264Contents contents;
    const auto take = [&](unsigned char head) { contents.types |= 1U << (head & qlip::kNalTypeMask); };
    if (payload.empty()) return contents;
    const unsigned int type = payload[0] & qlip::kNalTypeMask;
    if (type == kStapA) {
        contents.aggregated = true;
        each_aggregated(payload, take);
    } else {
        take(type == qlip::kNalFuA && payload.size() > 1 ? payload[1] : payload[0]);
    }
    return contents;
}

std::unique_ptr<PayloadCheck> make_h264_check() {
    return std::make_unique<H264Check>();
}

}  // namespace qlip_tool
