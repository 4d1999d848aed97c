// Fields of the older packet header.
#pragma once

namespace qlip {

inline constexpr int kPkqMagic = 13;
inline constexpr unsigned int kPkqTypeMask = 127;
inline constexpr int kPkqMarkerShift = 7;

inline unsigned char pkq_marker_type(int marker, int type) {
    return static_cast<unsigned char>((static_cast<unsigned int>(type) & kPkqTypeMask) |
                                      static_cast<unsigned int>(marker) << kPkqMarkerShift);
}

}  // namespace qlip
