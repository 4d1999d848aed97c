// The marks in the records of the engine.
#pragma once

#include "qlip/isoff.h"

inline constexpr unsigned int kIsoFileMagic = 0xc0de100;
inline constexpr unsigned int kIsoTrackMagic = 0xc0de200;
