// Where the frames of a file that is being written go. Normal mode keeps all frames until close, then writes
// room for the header, the media interleaved by time, and the header. Times are seconds.
#pragma once

#include "qlip/isoff.h"

// The whole write at close. 0, or -1 when a write failed (ISO_STATUS_WRITE_FAILED is then set).
int write_file(iso_file* file);

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

// Cuts the sync list and the sample groups down to the samples that were kept.
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
double media_seconds(const iso_track* track, unsigned int duration);

// Forgets what was counted of a track, before it is counted anew.
void clear_counts(iso_track* track);

// Lets go of the frames behind `last`, or of all frames when that is null.
void cut_frames_behind(iso_track* track, iso_data* last);

// Sets missing bit rates and the movie's duration.
void settle_rates(iso_file* file);

// The header in memory: counted, allocated, stored. Null without memory; *size receives its length. `counted`
// is the size of the counting pass.
unsigned char* make_header(iso_file* file, int counted, unsigned int media_length, int* size);

inline bool failed(const iso_file* file) {
    return file->status_flags & ISO_STATUS_WRITE_FAILED;
}

inline void set_failed(iso_file* file) {
    file->status_flags |= ISO_STATUS_WRITE_FAILED;
}

// The output, or null.
inline FILE* output(const iso_file* file) {
    return static_cast<FILE*>(file->stream);
}

// Writes to the output; a short write sets the error bit.
bool put_out(iso_file* file, const void* data, int size);

// A header that could only be written in part would describe what is not there, so the file is made one box
// of free space instead.
void disown(iso_file* file);

// Moves in the output; a failure sets the error bit.
bool move_to(iso_file* file, long offset, int whence);

}  // namespace qlip
