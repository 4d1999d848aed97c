// The playback state that the arming operations make: the public record, and behind it what makes a packet
// restartable and moves in the media track cheap.
#pragma once

#include <cstdint>

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

inline bool is_hint_track_of(const iso_track* track, const iso_track* media, int max_packet) {
    return (track->codec == ISO_CODEC_RTP || track->codec == ISO_CODEC_SRTP) &&
           track->hint_ref_track == media->track_id && int64_t{track->max_packet_size} <= max_packet;
}

inline iso_track* choose_hint_track(const iso_track* media, int max_packet) {
    if (!media || !media->file) return nullptr;
    iso_track* best = nullptr;
    for (iso_track* track = media->file->tracks; track; track = track->next) {
        if (!is_hint_track_of(track, media, max_packet)) continue;
        if (!best || track->max_packet_size > best->max_packet_size) best = track;
    }
    return best;
}

inline void set_media(iso_track* hint, iso_track* media) {
    ArmedHint* own = armed_hint(hint);
    if (own && own->media_track != media) own->media_places = {};
    hint->hint->media_track = media;
}

// Gives a hint track without a playback state one of its own. False without memory.
[[nodiscard]] bool arm_for_search(iso_track* hint);

// isoFFfindHintTrack.
inline iso_track* find_hint_track(iso_track* media, int max_packet) {
    iso_track* track = choose_hint_track(media, max_packet);
    if (!track || (!track->hint && !arm_for_search(track))) return nullptr;
    const ArmedHint* own = armed_hint(track);
    set_media(track, media);
    // Between two packets of a sample this makes the next packet entry read as a packet count; kept. Inside a
    // packet that is to be built again the count stays.
    if (!own || !own->packet_open) track->hint->packets_left = 0;
    return track;
}

}  // namespace qlip
