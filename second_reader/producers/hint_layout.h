// Sizes and kinds of an RTP hint sample (ISO/IEC 14496-12, RTP hint track format): 4 bytes of header, then
// packets, each of 12 bytes of header, extra information if flagged, and constructors of 16 bytes.
#pragma once

#include <cstddef>

namespace qlip {

inline constexpr size_t kSampleHeaderBytes = 4;
inline constexpr size_t kPacketHeaderBytes = 12;
inline constexpr size_t kRtpHeaderOffset = 4;  // in a packet header
inline constexpr size_t kBehindKind = 15;      // bytes of a constructor behind its kind

inline constexpr unsigned int kExtraInformationFlag = 4;  // of RTPflags

enum ConstructorKind : unsigned char { kNoOp, kImmediate, kSample, kSampleDescription };

}  // namespace qlip
