// The marks in the records of the engine.
#pragma once

#include "qlip/isoff.h"

namespace qlip {

inline constexpr unsigned int kIsoFileMagic = 0xc0de100;
inline constexpr unsigned int kIsoTrackMagic = 0xc0de200;

// What a track that is written adds to header_bytes when it is made, and the description of an H.263 track
// besides.
inline constexpr unsigned int kTrackHeaderBytes = 325;
inline constexpr unsigned int kH263EntryBytes = 121;

}  // namespace qlip
