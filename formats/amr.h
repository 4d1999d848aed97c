// AMR-NB and AMR-WB speech frames: sizes by frame type, bit rates, and the bits of the bytes in front of
// them.
#pragma once

#include <array>
#include <cstddef>

#include "formats/rtp.h"

// Speech bits of AMR-NB, 3GPP TS 26.101 table 1b; 0 for the types that it does not define, and for no data.
inline constexpr int bits[16] = {95, 103, 118, 134, 148, 159, 204, 244, 39, 0, 0, 0, 0, 0, 0, 0};

// Speech bytes of AMR-WB, 3GPP TS 26.201 table 3, and of the types behind it.
inline constexpr int amr_wb_size[16] = {17, 23, 32, 36, 40, 46, 50, 58, 60, 6, 34, 45, 60, 60, 0, 0};

// Four bits in reverse order: packed frames hold the bits of a storage frame from the lowest bit up.
inline constexpr unsigned char flip[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};

namespace qlip {

// Frame types, 3GPP TS 26.101 table 1a: AMR-NB has eight modes, then the silence descriptor.
inline constexpr unsigned int kAmrFirstWithoutSpeech = 9;
inline constexpr unsigned int kAmrWidebandSilence = 9;  // 3GPP TS 26.201 table 1a
inline constexpr unsigned int kAmrNoData = 15;

// Bit rates of the modes of AMR-NB, 3GPP TS 26.101 table 1a.
inline constexpr std::array<int, 8> kAmrBitRates = {4750, 5150, 5900, 6700, 7400, 7950, 10200, 12200};

// Every frame lasts 20 ms.
inline constexpr int kAmrFramesPerSecond = 50;
inline constexpr int kNarrowbandTicks = kNarrowbandClock / kAmrFramesPerSecond;
inline constexpr int kWidebandTicks = kWidebandClock / kAmrFramesPerSecond;

// Frame type of a frame by its first byte. Of a storage frame that is a table-of-contents entry (RFC 4867
// 5.3): one zero bit, the type, Q, two zero bits. Packed frames have the type in their low four bits.
inline constexpr unsigned char kAmrQuality = 0x04;

constexpr unsigned int amr_storage_type(unsigned char first) {
    return (first >> 3) & 15U;
}

constexpr unsigned char amr_storage_entry(unsigned int type) {
    return static_cast<unsigned char>(type << 3);
}

constexpr unsigned int amr_packed_type(unsigned char first) {
    return first & 15U;
}

// A codec mode request (RFC 4867 4.3.1), the mode in the upper four bits, which asks for the mode of a frame.
constexpr unsigned char amr_mode_request(unsigned char entry) {
    return static_cast<unsigned char>(amr_storage_type(entry) << 4);
}

// Bytes of an AMR-NB frame with its leading byte, and with its leading four bits.
constexpr int amr_storage_size(unsigned int type) {
    return (bits[type] + 7) / 8 + 1;
}

constexpr int amr_packed_size(unsigned int type) {
    return (bits[type] + 4 + 7) / 8;
}

// Speech bytes by frame type, without the table-of-contents entry, as streams have them.
using AmrSpeechBytes = std::array<unsigned char, 16>;

constexpr AmrSpeechBytes narrowband_speech_bytes() {
    AmrSpeechBytes bytes{};
    for (unsigned int type = 0; type < bytes.size(); ++type)
        bytes[type] = static_cast<unsigned char>(amr_storage_size(type) - 1);
    return bytes;
}

// The silence descriptor has 40 bits, 5 bytes, in a stream and 6 in amr_get_size: kept for callers
// of either [silence-descriptor-6].
constexpr AmrSpeechBytes wideband_speech_bytes() {
    AmrSpeechBytes bytes{};
    for (unsigned int type = 0; type < bytes.size(); ++type)
        bytes[type] = static_cast<unsigned char>(amr_wb_size[type]);
    bytes[kAmrWidebandSilence] = 5;
    return bytes;
}

}  // namespace qlip
