// The transformation that leaves a picture as it is (ISO/IEC 14496-12 6.2.2).
#pragma once

#include "qlip/vorn3gp/header_boxes.h"

namespace qlip {

inline constexpr const auto& kUnityMatrix = Vorn3gp::MATRIX_DEFAULT;

}  // namespace qlip
