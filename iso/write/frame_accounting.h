// What frames cost and how long they last: shared by both writing modes. What is asked for each frame is
// inline.
#pragma once

#include <algorithm>
#include <cstdint>

#include "qlip/isoff.h"

// Cuts the sync list and the sample groups down to the samples that stay.
int fixhdr(iso_file* file);

namespace qlip {

// The first frame opens a row in each time table; later ones only when their value changes.
inline int time_table_cost(iso_track* track, const iso_data* frame) {
    if (track->stts_count == 0) {
        track->stts_count = 1;
        track->ctts_count = 1;
        track->last_delta = frame->delta;
        track->last_cto = frame->cto;
        track->sample_size = static_cast<unsigned int>(frame->size);
        return 8;
    }
    int cost = track->sample_size == 0 ? 4 : 0;
    if (frame->delta != track->last_delta) {
        ++track->stts_count;
        track->last_delta = frame->delta;
        cost += 8;
    }
    if (frame->cto != track->last_cto) {
        ++track->ctts_count;
        track->last_cto = frame->cto;
        cost += 8;
    }
    return cost;
}

}  // namespace qlip

// Bytes that a frame adds to the file. Keeps the run-length state of the time tables and the largest frame
// size.
inline int per_frame_cost(iso_track* track, const iso_data* frame) {
    const int cost = frame->size + 4 + qlip::time_table_cost(track, frame);
    track->buffer_size_db = std::max(track->buffer_size_db, static_cast<unsigned int>(frame->size));
    return cost;
}

namespace qlip {

inline constexpr unsigned int kRoomMargin = 24;

// True if a frame fits behind `estimate` bytes.
inline bool fits(const iso_file* file, unsigned int estimate, int size) {
    return uint64_t{estimate} + static_cast<unsigned int>(size) + kRoomMargin <= file->max_file_size;
}

// What a frame of another size than a constant one costs: a size for each of the samples so far.
inline unsigned int size_table_cost(const iso_track* track, const iso_data* frame, unsigned int samples) {
    const bool differs =
        track->sample_size != 0 && static_cast<unsigned int>(frame->size) != track->sample_size;
    return differs ? samples * 4 : 0;
}

// A frame of another size ends the constant size.
inline void leave_constant_size(iso_track* track, const iso_data* frame) {
    if (static_cast<unsigned int>(frame->size) != track->sample_size) track->sample_size = 0;
}

// A duration in media time units as seconds; 0 without a time scale.
inline double media_seconds(const iso_track* track, unsigned int duration) {
    return track->timescale == 0 ? 0.0 : static_cast<double>(duration) / track->timescale;
}

// True if any track still has a frame.
bool has_frames(const iso_file* file);

// Forgets what was counted of a track, before it is counted anew.
void clear_counts(iso_track* track);

// Lets go of the frames behind `last`, or of all frames when that is null.
void cut_frames_behind(iso_track* track, iso_data* last);

// Makes the next count of frames end earlier, so that a file which passes its limit by `excess` bytes shrinks
// by at least as many: `base` is what header_bytes is before any frame is counted, and becomes what it shall
// be.
void demand_room(iso_file* file, unsigned int* base, int64_t excess);

// Sets missing bit rates and the movie's duration.
void settle_rates(iso_file* file);

}  // namespace qlip
