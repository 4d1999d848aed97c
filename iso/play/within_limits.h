// The engine's operations on files with limits, at the border to the host.
#pragma once

#include "iso/model/open_file.h"

namespace qlip {

// Runs the work of an operation on `track`, which may be null. A call that passes the limit of steps results
// in ISOFF_END; within a call of the session it is the session's.
template <typename Work>
int within_limits(const iso_track* track, Work work) {
    LimitedCallbacks* limits = track && track->file ? limits_of(track->file) : nullptr;
    if (!limits || limits->in_call()) return work();
    const LimitedCall call(limits);
    try {
        return work();
    } catch (const OverBudget&) {
        return ISOFF_END;
    }
}

}  // namespace qlip
