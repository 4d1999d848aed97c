// Where the frames of a file that is being written go. Normal mode keeps all frames until close, then writes
// room for the header, the media interleaved by time, and the header. Times are seconds.
#pragma once

#include "qlip/isoff.h"

// Writes all media from `offset` on, in rounds of `period`. Returns the media bytes written.
int w_mdat(iso_file* file, unsigned int offset, double period);

// Writes frames of one track until its time passes *limit, at least one. If the track stops short of *limit,
// that is pulled down to the time reached, so that the other tracks of the round stay inside it. Returns the
// bytes written, or -1 if the track has no frames left.
int w_chunk(iso_track* track, unsigned int offset, double* limit);

// Drops the tails of the tracks so that the file stays below its size limit, all ending at about one time.
int resize(iso_file* file, double period);

// The counterpart of w_chunk in resize. 1 for a track with more to do, 0 when it is finished or was cut.
int count_track_data(iso_track* track, double* limit);

namespace qlip {

// write_file in normal mode.
int write_normal(iso_file* file);

}  // namespace qlip
