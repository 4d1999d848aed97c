// The byte of the older packet header that holds marker and type, as the second byte of an RTP header has
// them.
#pragma once

#include "formats/rtp.h"

namespace qlip {

inline unsigned char pkq_marker_type(int marker, int type) {
    return static_cast<unsigned char>((static_cast<unsigned int>(type) & kRtpTypeMask) |
                                      static_cast<unsigned int>(marker) << kRtpMarkerShift);
}

}  // namespace qlip
