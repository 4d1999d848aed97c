// What frames cost and how long they last: shared by both writing modes.
#pragma once

#include <cstdint>

#include "qlip/isoff.h"

// Cuts the sync list and the sample groups down to the samples that stay.
int fixhdr(iso_file* file);

// Bytes that a frame adds to the file. Keeps the run-length state of the time tables and the largest frame
// size.
int per_frame_cost(iso_track* track, const iso_data* frame);

namespace qlip {

// True if a frame fits behind `estimate` bytes.
bool fits(const iso_file* file, unsigned int estimate, int size);

// What a frame of another size than a constant one costs: a size for each of the samples so far.
unsigned int size_table_cost(const iso_track* track, const iso_data* frame, unsigned int samples);

// A frame of another size ends the constant size.
void leave_constant_size(iso_track* track, const iso_data* frame);

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
