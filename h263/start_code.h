// H.263 start codes (ITU-T H.263 5.1.1, 5.2.2): 16 zero bits, a 1 bit, and five bits more, which are zero
// where a picture starts.
#pragma once

namespace qlip {

inline constexpr unsigned int kStartCodeZeros = 16;
inline constexpr unsigned int kStartCodeTail = 6;  // bits behind the zeros
inline constexpr unsigned int kPictureTail = 1U << (kStartCodeTail - 1);
inline constexpr unsigned int kPictureCodeBits = kStartCodeZeros + kStartCodeTail;
inline constexpr unsigned int kGroupCodeBits = kStartCodeZeros + 1;

// Of the byte that stands behind two zero bytes.
constexpr bool ends_start_code(unsigned char byte) {
    return byte >= 0x80;
}

constexpr bool ends_picture_code(unsigned char byte) {
    return byte >> (8 - kStartCodeTail) == kPictureTail;
}

}  // namespace qlip
