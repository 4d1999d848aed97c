// What the first bytes of an H.264 payload tell (ITU-T H.264 table 7-1, RFC 6184 5.2 to 5.8).
#pragma once

#include <span>

#include "formats/nal.h"

namespace qlip::kit {

enum class NalKind { picture_data, idr_data, parameter_set, delimiter, other };

inline NalKind kind_of_nal(unsigned int type) {
    constexpr unsigned int kFirstSlice = 1, kDelimiter = 9;
    if (type == kNalIdrSlice) return NalKind::idr_data;
    if (type >= kFirstSlice && type < kNalIdrSlice) return NalKind::picture_data;
    if (type == kNalSequenceSet || type == kNalPictureSet) return NalKind::parameter_set;
    return type == kDelimiter ? NalKind::delimiter : NalKind::other;
}

// A fragment is of the kind of its whole, and an aggregate (STAP-A) of that of its first unit, behind a
// length.
inline NalKind kind_of_payload(std::span<const unsigned char> payload) {
    constexpr unsigned int kAggregate = 24;
    const unsigned int type = nal_type(payload);
    if (type == kNalFuA) return payload.size() > 1 ? kind_of_nal(payload[1] & kNalTypeMask) : NalKind::other;
    if (type == kAggregate)
        return payload.size() > 3 ? kind_of_nal(payload[3] & kNalTypeMask) : NalKind::other;
    return kind_of_nal(type);
}

// A decoder takes a parameter set for the start of a picture, so inside one it is left out. Sees the packets
// of a picture in order.
class PictureStart {
  public:
    bool admits(NalKind kind) {
        if (kind == NalKind::parameter_set) {
            brings_sets_ = brings_sets_ || !in_picture_;
            return !in_picture_;
        }
        in_picture_ = in_picture_ || kind == NalKind::picture_data || kind == NalKind::idr_data;
        has_idr_ = has_idr_ || kind == NalKind::idr_data;
        return true;
    }

    bool brings_sets() const { return brings_sets_; }
    bool has_idr() const { return has_idr_; }

  private:
    bool in_picture_ = false;
    bool brings_sets_ = false;
    bool has_idr_ = false;
};

}  // namespace qlip::kit
