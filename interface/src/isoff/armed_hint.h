// The playback state that the arming operations make: the public record, and behind it what makes a packet
// restartable and moves in the media track cheap.
#pragma once

#include "interface/src/isoff/cursor_memory.h"
#include "qlip/isoff.h"

namespace qlip {

// In `flags` of a hint track: `hint` is an ArmedHint, not a record of the host's own.
inline constexpr unsigned int kArmedHintRecord = 1u << 31;

struct ArmedHint : hint_state {
    bool packet_open = false;  // a packet was begun and is to be built again
    CursorMemory media_places;
    CursorMemory hint_places;
};

inline ArmedHint* armed_hint(iso_track* track) {
    if (!track->hint || !(track->flags & kArmedHintRecord)) return nullptr;
    return static_cast<ArmedHint*>(track->hint);
}

}  // namespace qlip
