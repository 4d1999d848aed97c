// What the files of the second reader share: the path that its log lines show, and its ways with failures.
//
// Operations of the class report failures by setting m_uStatus and throwing SimpleException. The public ones
// run inside `guarded`, which lets nothing out.
#pragma once

#include "common/log.h"
#include "host/limited_callbacks.h"
#include "host/open_mode.h"
#include "qlip/c3gpinterface.h"
#include "second_reader/open_tree.h"

namespace qlip {

inline constexpr const char* kReaderPath = "interface/src/c3gpinterface";

inline constexpr unsigned int kCodecH263 = 0;
inline constexpr unsigned int kCodecH263_1998 = 1;
inline constexpr unsigned int kCodecMpeg4 = 2;
inline constexpr unsigned int kCodecNone = 3;

inline constexpr unsigned int kNoOffset = 0xFFFFFFFF;

// How log lines show a pointer: its low 32 bits.
unsigned int printed(const void* pointer);

// For handlers; call inside a catch block. Logs the exception in flight as a public operation does: an error
// line for a SimpleException, an unprefixed line at any level for all else.
// The lines keep within the log, which may be null.
void log_refusal(FaultLog* log) noexcept;

// For handlers; call inside a catch block. The status that the exception in flight means, where it brought
// none: `other`, or that of a lack of memory. A file that asks for more than it backs is not one.
unsigned int status_in_flight(unsigned int other);

// For handlers; call inside a catch block. Passes the exception in flight on as a SimpleException, with a
// debug line when it was one already.
[[noreturn]] void rethrow_as_simple();

// For handlers; call inside a catch block at the end of a public operation.
void settle_failure(unsigned int& status, Vorn3gp::Simple3gp* root) noexcept;

// The work of `guarded` on a record with limits, out of the way of hosts that set none.
template <class Work>
[[gnu::cold, gnu::noinline]] bool guarded(unsigned int& status, Vorn3gp::Simple3gp* const& root,
                                          LimitedCallbacks* limited, Work work) {
    const LimitedCall call(limited);
    try {
        work();
        return true;
    } catch (...) {
        settle_failure(status, root);
        if (call.ran_out()) status = QLIP_CORRUPT_FILE;
        return false;
    }
}

// Runs the work of a public operation on the host's record, which may have limits. What it throws is logged,
// within the bounds of the open file's log, and a status of 0 becomes QLIP_FAILURE or QLIP_NO_MEMORY; a call
// that took more steps than it may has QLIP_CORRUPT_FILE. Returns whether nothing was thrown.
template <class Work>
bool guarded(unsigned int& status, Vorn3gp::Simple3gp* const& root, HostIo* io, Work work) {
    if (LimitedCallbacks* limited = LimitedCallbacks::of(io)) return guarded(status, root, limited, work);
    try {
        work();
        return true;
    } catch (...) {
        settle_failure(status, root);
        return false;
    }
}

// Of all samples together. The product wraps at 32 bits: kept for readers of the stream [bit-rate-wraps].
double bytes_of_samples(const Vorn3gp::StszBox& stsz);

// The box, which must be there; otherwise status 4 and an exception that says which is missing.
template <class BoxType>
BoxType* required(BoxType* box, const char* name, unsigned int& status) {
    if (box) return box;
    status = QLIP_CORRUPT_FILE;
    throw SimpleException(kReaderPath, __LINE__, "Could not find %s box", name);
}

}  // namespace qlip
