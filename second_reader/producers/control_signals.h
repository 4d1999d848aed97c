// The two unsigned ints that the second reader and its producers throw at each other. They never reach a
// host.
#pragma once

namespace qlip {

inline constexpr unsigned int kBadHintContent = 22136;  // the hint sample cannot be followed: drop
inline constexpr unsigned int kMediaNotAvailable =
    4660;  // the media sample is not there yet: give the frame up

}  // namespace qlip
