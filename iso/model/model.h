// The marks in the records of the engine.
#pragma once

#include "qlip/isoff.h"

namespace qlip {

inline constexpr unsigned int kIsoFileMagic = 0xc0de100;
inline constexpr unsigned int kIsoTrackMagic = 0xc0de200;

}  // namespace qlip
