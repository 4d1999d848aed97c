// The transformation that leaves a picture as it is (ISO/IEC 14496-12 6.2.2).
#pragma once

inline constexpr unsigned int unity_matrix[9] = {0x00010000, 0, 0, 0, 0x00010000, 0, 0, 0, 0x40000000};
