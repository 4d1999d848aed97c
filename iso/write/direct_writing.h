// Direct mode: frames go to the output as they arrive, in slices of one interleave period per track, and moov
// follows them at close. A frame that arrives ahead of its track's turn waits in memory.
#pragma once

#include "qlip/isoff.h"

// Writes what is due. Frames whose data is `caller_buffer` are not let go of. 0, or an iso_write_result.
int dwr_flush(iso_file* file, void* caller_buffer);

// Makes the next track that has a frame waiting, or may still get one, the current one. Null if there is
// none.
iso_track* dwr_next_track(iso_file* file);

// Counts anew what fits below max_file_size, in file order, and cuts the tracks behind it.
int dwr_resize(iso_file* file);

// Counts one run of frames that lie next to each other in the file. 1 asks for more, 0 says that the track is
// done, -1 that the file is full.
int dwr_count_track_data(iso_track* track);

namespace qlip {

// Charges a track's header boxes, sample description included, when its first frame comes.
void charge_description(iso_track* track);

// Removes a frame and all behind it from its track. Data that is not the caller's is let go of.
void cut_frames_at(iso_track* track, iso_data* frame, const void* caller_buffer);

// write_file in direct mode.
int write_direct(iso_file* file);

}  // namespace qlip
