// What the letters of an open's mode stand for, in the state of both readers.
#pragma once

namespace qlip {

inline constexpr int kModeAudio = 1;      // "a"
inline constexpr int kModeVideo = 16;     // "v"
inline constexpr int kDirectionRead = 1;  // "r"

}  // namespace qlip
