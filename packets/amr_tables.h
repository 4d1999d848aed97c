// Sizes of AMR frames by frame type.
#pragma once

// Speech bits of AMR-NB, 3GPP TS 26.101 table 1b; 0 for the types that it does not define, and for no data.
extern const int bits[16];

// Four bits in reverse order.
extern const unsigned char flip[16];

// Speech bytes of AMR-WB. Type 9 has 6 here and 5 in the AMR-WB reader; each stays as it is.
extern const int amr_wb_size[16];

namespace qlip {

inline constexpr unsigned int kAmrNoData = 15;
inline constexpr unsigned int kAmrFirstWithoutSpeech = 9;

// Frame type of a frame by its first byte. Bits 3 to 6 in the storage formats, the low four in the packed
// one.
inline unsigned int amr_storage_type(unsigned char first) {
    return (first >> 3) & 15u;
}

inline unsigned int amr_packed_type(unsigned char first) {
    return first & 15u;
}

// Bytes of an AMR-NB frame with its leading byte, and with its leading four bits.
inline int amr_storage_size(unsigned int type) {
    return (bits[type] + 7) / 8 + 1;
}

inline int amr_packed_size(unsigned int type) {
    return (bits[type] + 11) / 8;
}

}  // namespace qlip
