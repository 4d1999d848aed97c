// The playback state that the arming operations make: the public record, and behind it what makes a packet
// restartable and moves in the media track cheap.
#pragma once

#include <cstdint>

#include "iso/play/sample_places.h"
#include "qlip/isoff.h"

namespace qlip {

// In `flags` of a hint track: `hint` is an ArmedHint, not a record of the host's own.
inline constexpr unsigned int kArmedHintRecord = 1u << 31;

struct ArmedHint : hint_state {
    bool packet_open = false;  // a packet was begun and is to be built again
    SamplePlaces media_places;
    SamplePlaces hint_places;
};

inline ArmedHint* armed_hint(iso_track* track) {
    if (!track->hint || !(track->flags & kArmedHintRecord)) return nullptr;
    return static_cast<ArmedHint*>(track->hint);
}

// Finding a track that is armed already. Between two packets of a sample this makes the next packet entry
// read as a packet count: kept for players that call it between packets
// [hint-found-between-packets]. Inside a packet that is to be built again the count stays.
inline void find_again(iso_track* hint) {
    const ArmedHint* own = armed_hint(hint);
    if (!own || !own->packet_open) hint->hint->packets_left = 0;
}

}  // namespace qlip
