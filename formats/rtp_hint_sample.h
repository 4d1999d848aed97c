// Samples of an RTP hint track (ISO/IEC 14496-12 9.1.3), big-endian: a header, then packets, each a header,
// extra information where flagged, and constructors of one size.
#pragma once

#include <cstddef>

namespace qlip {

// packetcount(16) reserved(16)
inline constexpr unsigned int kHintSampleHeaderBytes = 4;

// RTPpacket (9.1.3.1): relative_time(32), two bytes of the RTP header, RTPsequenceseed(16), flags(16),
// entrycount(16).
inline constexpr unsigned int kHintPacketHeaderBytes = 12;
inline constexpr size_t kHintRtpHeaderAt = 4;
inline constexpr size_t kHintSequenceSeedAt = 6;
inline constexpr size_t kHintFlagsAt = 8;
inline constexpr size_t kHintEntryCountAt = 10;

// In flags: extra_information_length(32), which counts itself, and as much information follow the header.
inline constexpr unsigned int kHintExtraInformation = 0x0004;
inline constexpr unsigned int kHintExtraLengthBytes = 4;

// RTPconstructor (9.1.3.2): a kind and 15 bytes.
inline constexpr unsigned int kConstructorBytes = 16;
inline constexpr unsigned int kConstructorKindBytes = 1;
inline constexpr unsigned int kBehindConstructorKind = kConstructorBytes - kConstructorKindBytes;
enum ConstructorKind : unsigned char {
    kNoOpConstructor,
    kImmediateConstructor,
    kSampleConstructor,
    kSampleDescriptionConstructor
};

// Immediate: count(8), then as much data, the rest being padding.
inline constexpr unsigned int kImmediateCountBytes = 1;
inline constexpr unsigned int kImmediateRoom = kBehindConstructorKind - kImmediateCountBytes;

// Sample: trackrefindex(8) length(16) samplenumber(32) sampleoffset(32) bytesperblock(16)
// samplesperblock(16). An index of -1 is the hint track itself.
inline constexpr unsigned char kOwnTrackReference = 0xFF;

}  // namespace qlip
