// What the first bytes of an H.264 payload tell (ITU-T H.264 table 7-1, RFC 6184 5.2 to 5.8).
#pragma once

#include <cstddef>

#include "kit/packet_list.h"

namespace qlip::kit {

enum class NalKind { picture_data, idr_data, parameter_set, delimiter, other };

inline NalKind kind_of_nal(unsigned int type) {
    constexpr unsigned int kFirstSlice = 1, kIdrSlice = 5, kSequenceSet = 7, kPictureSet = 8, kDelimiter = 9;
    if (type == kIdrSlice) return NalKind::idr_data;
    if (type >= kFirstSlice && type < kIdrSlice) return NalKind::picture_data;
    if (type == kSequenceSet || type == kPictureSet) return NalKind::parameter_set;
    return type == kDelimiter ? NalKind::delimiter : NalKind::other;
}

// A fragment is of the kind of its whole, and an aggregate of the kind of its first unit.
inline NalKind kind_of_payload(const unsigned char* payload, size_t size) {
    constexpr unsigned int kTypeMask = 0x1F, kAggregate = 24, kFragment = 28;
    if (size == 0) return NalKind::other;
    const unsigned int type = payload[0] & kTypeMask;
    if (type == kFragment) return size > 1 ? kind_of_nal(payload[1] & kTypeMask) : NalKind::other;
    if (type == kAggregate) return size > 3 ? kind_of_nal(payload[3] & kTypeMask) : NalKind::other;
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
