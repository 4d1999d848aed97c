#include "lint/hint_sample.h"

#include <fmt/format.h>

#include "formats/rtp.h"
#include "formats/rtp_hint_sample.h"
#include "lint/fields.h"

namespace qlip_tool {
namespace {

std::optional<HintPiece> piece_of(std::span<const unsigned char> constructor, std::string& fault) {
    const Fields fields(constructor);
    const bool own = fields.u8(1) == qlip::kOwnTrackReference;
    switch (fields.u8(0)) {
        case qlip::kNoOpConstructor:
            return HintPiece{HintPiece::Kind::Immediate, {}, 0, 0, 0};
        case qlip::kImmediateConstructor:
            if (fields.u8(1) > qlip::kImmediateRoom) {
                fault =
                    fmt::format("{} immediate bytes, where {} have room", fields.u8(1), qlip::kImmediateRoom);
                return std::nullopt;
            }
            return HintPiece{HintPiece::Kind::Immediate, constructor.subspan(2, fields.u8(1)), 0, 0,
                             fields.u8(1)};
        case qlip::kSampleConstructor:
            return HintPiece{own ? HintPiece::Kind::OwnSample : HintPiece::Kind::MediaSample,
                             {},
                             fields.u32(4),
                             fields.u32(8),
                             fields.u16(2)};
        case qlip::kSampleDescriptionConstructor:
            return HintPiece{HintPiece::Kind::Description, {}, fields.u32(4), fields.u32(8), fields.u16(2)};
        default:
            fault = fmt::format("a constructor of unknown kind {}", fields.u8(0));
            return std::nullopt;
    }
}

class Parser {
  public:
    explicit Parser(std::span<const unsigned char> bytes) : bytes_(bytes), fields_(bytes) {}

    HintSample sample() {
        const uint32_t count = fields_.u16(0);
        at_ = qlip::kHintSampleHeaderBytes;
        for (uint32_t i = 0; i < count && sample_.fault.empty(); ++i)
            packet();
        return std::move(sample_);
    }

  private:
    bool has(size_t size) {
        if (at_ <= bytes_.size() && size <= bytes_.size() - at_) return true;
        sample_.fault = fmt::format("it ends after {} bytes, inside packet {}", bytes_.size(),
                                    sample_.packets.size() + 1);
        return false;
    }

    void packet() {
        if (!has(qlip::kHintPacketHeaderBytes)) return;
        const size_t rtp = at_ + qlip::kHintRtpHeaderAt + 1;
        HintPacket packet{static_cast<int32_t>(fields_.u32(at_)),
                          (fields_.u8(rtp) & qlip::kRtpMarker) != 0,
                          fields_.u8(rtp) & qlip::kRtpTypeMask,
                          fields_.u16(at_ + qlip::kHintSequenceSeedAt),
                          {}};
        const uint32_t entries = fields_.u16(at_ + qlip::kHintEntryCountAt);
        const bool has_extra = (fields_.u16(at_ + qlip::kHintFlagsAt) & qlip::kHintExtraInformation) != 0;
        at_ += qlip::kHintPacketHeaderBytes;
        if (has_extra) {
            const uint32_t extra = fields_.u32(at_);
            if (!has(extra)) return;
            at_ += extra;
        }
        if (!has(entries * qlip::kConstructorBytes)) return;
        for (uint32_t i = 0; i < entries; ++i, at_ += qlip::kConstructorBytes) {
            const auto piece = piece_of(bytes_.subspan(at_, qlip::kConstructorBytes), sample_.fault);
            if (!piece) return;
            if (piece->size > 0) packet.pieces.push_back(*piece);
        }
        sample_.packets.push_back(std::move(packet));
    }

    std::span<const unsigned char> bytes_;
    Fields fields_;
    size_t at_ = 0;
    HintSample sample_;
};

}  // namespace

HintSample parse_hint_sample(std::span<const unsigned char> bytes) {
    return Parser(bytes).sample();
}

}  // namespace qlip_tool
