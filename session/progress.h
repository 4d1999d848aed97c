// The progress report that ends the reading of a frame.
#pragma once

#include "host/host_calls.h"
#include "session/session.h"

namespace qlip {

// Logs the host's refusal and returns 2.
int progress_refused(unsigned int status, unsigned int offset);

// Tells the host that `track` needs nothing below `offset` any more, in the way of the current read mode.
// Returns 0, or 2 when the host refuses.
inline int report_progress(const iso_track* track, unsigned int offset) {
    const iso_file* file = track->file;
    const unsigned int status =
        file->indexed_read != 0 ? io_advance(file->io, offset) : io_seek(file->io, offset);
    return status == 0 ? QLIP_SUCCESS : progress_refused(status, offset);
}

}  // namespace qlip
