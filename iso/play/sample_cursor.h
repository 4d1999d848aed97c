// A track's read cursor (sample, file_pos, chunk and the run counters of the time tables) and its single
// step.
#pragma once

#include "qlip/isoff.h"

// Moves the cursor to sample n, which exists: from the start of the track when n lies behind the cursor, else
// forward.
void set_sample_pos(iso_track* track, int n);

namespace qlip {

inline unsigned int size_of_sample(const iso_track* track, int sample) {
    if (track->sample_size != 0) return track->sample_size;
    return track->sample_sizes ? track->sample_sizes[sample] : 0;
}

// Position in a run-length table: one more sample used of its row.
inline void advance_run(const int (*rows)[2], int count, int* index, int* run) {
    ++*run;
    if (*index < count && *run >= rows[*index][0]) {
        *run = 0;
        ++*index;
    }
}

inline void advance_times(iso_track* track) {
    advance_run(track->stts, track->stts_count, &track->stts_index, &track->stts_run);
    if (track->ctts_count > 0)
        advance_run(track->ctts, track->ctts_count, &track->ctts_index, &track->ctts_run);
}

// Moves file_pos on; true when that left the chunk.
inline bool advance_position(iso_track* track, unsigned int bytes) {
    track->file_pos += bytes;
    if (track->chunk >= track->chunk_count || track->file_pos < track->chunks[track->chunk].end) return false;
    ++track->chunk;
    if (track->chunk < track->chunk_count) track->file_pos = track->chunks[track->chunk].start;
    return true;
}

inline void step(iso_track* track) {
    advance_position(track, size_of_sample(track, track->sample));
    advance_times(track);
    ++track->sample;
}

// The largest part of the way to sample n, which lies ahead, that is taken at once.
void stride(iso_track* track, int n);

// set_sample_pos, where the next sample is the likely one.
inline void move_to_sample(iso_track* track, int n) {
    if (track->sample == n) [[likely]]
        return;
    if (track->sample + 1 == n) {
        step(track);
    } else {
        set_sample_pos(track, n);
    }
}

}  // namespace qlip
