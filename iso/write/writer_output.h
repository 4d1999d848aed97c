// The output of the writer: a stream of the opener's that may be full or refuse to seek.
#pragma once

#include <cstdint>
#include <cstdio>

#include "qlip/isoff.h"

namespace qlip {

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

// Moves in the output; a failure sets the error bit.
bool move_to(iso_file* file, long offset, int whence);

// Sends on what the output still buffers; a failure sets the error bit.
bool flush_output(iso_file* file);

// After a failed write, of which the stream keeps nothing: the bytes that arrived, or -1. Where the writes
// came to tells that, not the output's end: it may have been longer before.
long recover_output(iso_file* file);

// Bytes by which a file of `end` bytes would pass its size limit.
int64_t excess(const iso_file* file, int64_t end);

// A header that could only be written in part would describe what is not there, so the file is made one box
// of free space instead.
void disown(iso_file* file);

}  // namespace qlip
