// The C entry points: argument checks, the life of the session record, and the status texts.
#include <cstdlib>
#include <new>

#include "host/host_calls.h"
#include "host/limited_callbacks.h"
#include "iso/open.h"
#include "session/codecs.h"
#include "session/session.h"

using namespace qlip;

namespace {

struct StatusText {
    int code;
    const char* text;
};

constexpr int kTerminator = 24;

constexpr StatusText kStatusTexts[] = {
    {QLIP_SUCCESS, "Success"},
    {QLIP_END_OF_FILE, "Reached end of file"},
    {QLIP_FAILURE, "Some unknown failure"},
    {QLIP_NO_SUCH_FILE, "Requested file does not exist"},
    {QLIP_CORRUPT_FILE, "File is corrupt"},
    {QLIP_BAD_HANDLE, "Bad 3gp handle passed in"},
    {QLIP_NO_MEMORY, "Unable to allocate memory"},
    {QLIP_BAD_MODE, "Unsupported mode string specified in Open"},
    {QLIP_NOT_OPEN, "Library is not opened for this operation"},
    {QLIP_ALREADY_OPEN, "Library has already been opened"},
    {QLIP_NOT_SUPPORTED, "This operation is not supported"},
    {QLIP_TOO_MANY_TRACKS, "3gp file contains more tracks than supported"},
    {QLIP_HINT_TRACK_REQUIRED, "Hint tracks are required"},
    {QLIP_BAD_ARGUMENT, "Invalid or NULL argument supplied"},
    {QLIP_NO_SUCH_TRACK, "Requested track does not exist"},
    {QLIP_UNKNOWN_CODER, "Unknown/unsupported coder found"},
    {QLIP_IO_CALLBACK_FAILED,
     "Problem with IO Stream callback interface read - call qlip_GetIOCallbackStatus for more info"},
    {QLIP_NOT_AVAILABLE_YET, "Data is not available in FIO buffers yet"},
    {QLIP_BAD_TIMESTAMP, "Invalid Timestamp supplied"},
    {QLIP_BAD_SEEK_FLAGS, "Invalid Seek Flags supplied"},
    {kTerminator, "Invalid status value"},
};

constexpr int kUnusedOpenArgument = 20480;

void release(mm_Interface** handle) {
    mmfi_Close(*handle);
    std::free(*handle);
    *handle = nullptr;
}

// The status of a call on an object that may have limits: one that ran out of them failed by that.
int settle(const LimitedCall& call, int status) {
    return call.ran_out() ? QLIP_CORRUPT_FILE : status;
}

// In a session with limits this stands in front of the codec's reader.
int read_within_limits(mm_Interface* session, unsigned char* buffer, unsigned int* size,
                       bool indexed) noexcept {
    const LimitedCall call(session->file->io);
    return settle(call, find_codec(session->track)->reader(session, buffer, size, indexed));
}

// Chooses the track, and leaves the host's position where it was promised.
int choose(mm_Interface* session, const char* mode) {
    iso_file* file = session->file;
    const LimitedCallbacks* limits = LimitedCallbacks::of(file ? file->io : nullptr);
    const LimitedCall call(file ? file->io : nullptr);
    const int status = guarded([=] {
        const int opened = mmfi_Open(session, mode);
        if (opened == QLIP_SUCCESS && file) qliputil_seek(file->io, 0);
        return opened;
    });
    return limits && limits->was_passed() ? QLIP_CORRUPT_FILE : status;
}

// Makes the session of an open file, which is null for lack of memory.
int start_session(mm_Interface** handle, iso_file* file, const char* mode) {
    void* memory = std::malloc(sizeof(mm_Interface));
    if (!memory) {
        isoFFclose(file);
        return QLIP_NO_MEMORY;
    }
    auto* session = new (memory) mm_Interface;
    *handle = session;
    session->file = file;
    const int status = choose(session, mode);
    if (status != QLIP_SUCCESS) {
        release(handle);
    } else if (file && LimitedCallbacks::of(file->io)) {
        session->reader = read_within_limits;
    }
    return status;
}

// The file is parsed before any argument is looked at, and the early returns leave it open: kept for
// hosts, which see the same callbacks whatever they pass [open-before-arguments].
int open_session(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io, const char* mode) {
    iso_file* file = open_for_stream(io);
    if (!handle) return QLIP_BAD_HANDLE;
    if (!complete(io)) return QLIP_BAD_ARGUMENT;
    if (!mode) return QLIP_BAD_MODE;
    return start_session(handle, file, mode);
}

int open_limited_session(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io, const char* mode,
                         const qlip_limits* limits) {
    int engine_error = 0;
    iso_file* file = open_for_stream(io, limits, &engine_error);
    if (!file) return engine_error == ISOFF_OVER_LIMIT ? QLIP_CORRUPT_FILE : QLIP_NO_MEMORY;
    return start_session(handle, file, mode);
}

}  // namespace

int qlip_Open(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks, const char* mode) {
    return qlip_Open2(handle, callbacks, mode, kUnusedOpenArgument);
}

int qlip_Open2(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks, const char* mode,
               int /*reserved*/) {
    return guarded([=] { return open_session(handle, callbacks, mode); });
}

int qlip_OpenLimited(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks,
                     const char* mode, const qlip_limits* limits) {
    qlip_limits taken;
    if (!handle) return QLIP_BAD_HANDLE;
    if (!complete(callbacks) || !take_limits(limits, &taken)) return QLIP_BAD_ARGUMENT;
    if (!mode) return QLIP_BAD_MODE;
    return guarded([=] { return open_limited_session(handle, callbacks, mode, limits); });
}

int qlip_ReadChunk(mm_Interface* handle, unsigned char* buffer, unsigned int* size, bool indexed) {
    if (!handle) return QLIP_BAD_HANDLE;
    if (!buffer || !size) return QLIP_BAD_ARGUMENT;
    return handle->reader(handle, buffer, size, indexed);
}

int qlip_Close(mm_Interface** handle) {
    if (!handle) return QLIP_BAD_HANDLE;
    if (*handle) release(handle);
    return QLIP_SUCCESS;
}

int qlip_SeekTo(mm_Interface* handle, _TAG_QLIP_SEEK_PARAMS* params) {
    if (!handle) return QLIP_BAD_HANDLE;
    if (!params) return QLIP_BAD_ARGUMENT;
    return QLIP_NOT_SUPPORTED;
}

int qlip_GetIOCallbackStatus(mm_Interface* handle, unsigned int* status) {
    if (!handle) return QLIP_BAD_HANDLE;
    if (!status) return QLIP_BAD_ARGUMENT;
    return QLIP_SUCCESS;
}

const char* qlip_StatusString(int status) {
    for (const StatusText* row = kStatusTexts; row->code != kTerminator; ++row) {
        if (row->code == status) return row->text;
    }
    return "Unknown status";
}
