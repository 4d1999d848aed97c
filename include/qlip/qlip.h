/*
 * The C entry points: a host hands over a record of I/O callbacks for a 3GP file (ISO/IEC 14496-12, 3GPP
 * TS 26.244), opens a session on one of its tracks, and pulls that track chunk by chunk as a native stream.
 *
 * Compiles as C99 and as C++17. The chunks are described in native_stream.h and docs/native-stream.md; what
 * each callback must do, engine by engine, in docs/callbacks.md.
 *
 * Nothing is locked. One session belongs to one thread at a time; sessions on different records may run side
 * by side. No entry point lets an exception out.
 */
#ifndef QLIP_QLIP_H
#define QLIP_QLIP_H

#include <stdbool.h>

#include "qlip/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Status codes: the result of every entry point. The texts are those of qlip_StatusString. */
enum {
    QLIP_SUCCESS = 0,              /* "Success" */
    QLIP_END_OF_FILE = 1,          /* "Reached end of file" */
    QLIP_FAILURE = 2,              /* "Some unknown failure" */
    QLIP_NO_SUCH_FILE = 3,         /* "Requested file does not exist" */
    QLIP_CORRUPT_FILE = 4,         /* "File is corrupt" */
    QLIP_BAD_HANDLE = 5,           /* "Bad 3gp handle passed in" */
    QLIP_NO_MEMORY = 6,            /* "Unable to allocate memory" */
    QLIP_BAD_MODE = 7,             /* "Unsupported mode string specified in Open" */
    QLIP_NOT_OPEN = 8,             /* "Library is not opened for this operation" */
    QLIP_ALREADY_OPEN = 9,         /* "Library has already been opened" */
    QLIP_NOT_SUPPORTED = 10,       /* "This operation is not supported" */
    QLIP_TOO_MANY_TRACKS = 11,     /* "3gp file contains more tracks than supported" */
    QLIP_HINT_TRACK_REQUIRED = 12, /* "Hint tracks are required" */
    QLIP_BAD_ARGUMENT = 13,        /* "Invalid or NULL argument supplied" */
    QLIP_NO_SUCH_TRACK = 14,       /* "Requested track does not exist" */
    QLIP_UNKNOWN_CODER = 15,       /* "Unknown/unsupported coder found" */
    QLIP_IO_CALLBACK_FAILED = 16,  /* "Problem with IO Stream callback interface read - ..." */
    QLIP_NOT_AVAILABLE_YET = 17,   /* "Data is not available in FIO buffers yet" */
    QLIP_BAD_TIMESTAMP = 18,       /* "Invalid Timestamp supplied" */
    QLIP_BAD_SEEK_FLAGS = 19,      /* "Invalid Seek Flags supplied" */
    QLIP_CODEC_HEADER_FAILED = 23  /* a header writer failed; has no text of its own */
};

/*
 * The host's I/O record. The host owns it and keeps it alive and unchanged for as long as a session uses it;
 * the library stores the pointer only. All nine functions must be set.
 *
 * Every function but ConvertStatus gets pUserContext first. Statuses are of the host's own numbering, 0 for
 * success; the session behind the C entry points looks at their low 16 bits only. All positions and sizes are
 * in bytes.
 */
typedef struct _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE {
    /* Handed back on every call, never looked at; may be NULL. */
    void* pUserContext;

    /* Stores the current position. */
    unsigned int (*GetOffset)(void* pUserContext, unsigned int* offset);

    /* Moves the current position to an absolute offset. */
    unsigned int (*Seek)(void* pUserContext, unsigned int offset);

    /* Reads up to *nBytes at the current position, which then stands behind what was read, and stores how
       many there were in *nBytes. The library always passes position 0xFFFFFFFF: the current one. A short
       count is no failure. */
    unsigned int (*SeekNRead)(void* pUserContext, unsigned char* data, unsigned int* nBytes,
                              unsigned int position);

    /* Writes nBytes at the current position; position as for SeekNRead. Used by the box model's writing
       side. */
    unsigned int (*SeekNWrite)(void* pUserContext, unsigned char* data, unsigned int nBytes,
                               unsigned int position);

    /* Stores the total size of the stream. May move the current position. */
    unsigned int (*Tell)(void* pUserContext, unsigned int* size);

    /* A truth value, not a status: non-zero at the end of the stream. */
    unsigned int (*IsEOF)(void* pUserContext);

    /* Reads nBytes from an absolute offset without moving the current position, and stores the count in
       *nRead. A non-zero status says that the bytes are not there yet; the library asks again on a later
       call. */
    unsigned int (*IndexRead)(void* pUserContext, unsigned char* data, unsigned int offset,
                              unsigned int nBytes, unsigned int* nRead);

    /* The library asks for nothing below offset any more; the host may release those bytes. */
    unsigned int (*AdvanceRead)(void* pUserContext, unsigned int offset);

    /* Stores in *result what a status of another slot means: 0 success, anything else a failure; 5 and 13
       tell the second reader that the data is not there yet. Takes no context. Not called by the C entry
       points. */
    unsigned int (*ConvertStatus)(unsigned int* result, unsigned int status);
} _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE;

/* Session handle. NULL means no session. */
typedef struct mm_Interface mm_Interface;

/* Seek request and result of the second reader; see c3gpinterface.h. */
struct _TAG_QLIP_SEEK_PARAMS;

/*
 * Opens a session on the file behind `callbacks` and stores it in *handle.
 *
 * `mode` holds single-letter switches in any order and case: 'r' reads (required), 'a' takes the audio track,
 * 'v' the video track; of 'a' and 'v' the later one counts. The last acceptable track of the file is
 * delivered: AMR-NB or AMR-WB for audio, MPEG-4 visual, H.263 or H.264 for video.
 *
 * The whole file structure is read before any argument is looked at, so the file is touched even when the
 * call fails. Afterwards the host's position stands at 0 again.
 *
 * Results: 0; 5 `handle` is NULL; 13 the record or one of its functions is NULL; 7 `mode` is NULL or not
 * understood; 6 no memory; 2 no usable track. *handle is NULL after a failure of the mode or track choice,
 * and untouched after an earlier one.
 */
QLIP_API int qlip_Open(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks,
                       const char* mode);

/* The same; the fourth argument is accepted and has no effect. */
QLIP_API int qlip_Open2(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks,
                        const char* mode, int reserved);

/*
 * Delivers the next chunk of the native stream into `buffer`.
 *
 * The capacity is not passed: offer room for the largest chunk, QLIP_LARGEST_CHUNK bytes. `size` is written
 * only together with status 17, and then 0; the length of every other chunk follows from the stream itself.
 *
 * `indexed` false reads through Seek and SeekNRead; true reads through IndexRead and reports progress through
 * AdvanceRead. It may change from call to call.
 *
 * Results: 0 a chunk was delivered; 1 the end of the track, nothing delivered; 17 the data is not there yet,
 * call again; 2 a failure; 5 and 13 NULL arguments; 23 a header writer failed. No result ends the session.
 */
QLIP_API int qlip_ReadChunk(mm_Interface* handle, unsigned char* buffer, unsigned int* size, bool indexed);

/* A frame body: two words and 64,000 bytes of packet records; a carry size is 16 bits, so this covers all of
 * it. */
#define QLIP_LARGEST_CHUNK (8 + 65535)

/* Closes the session, frees all it holds and stores NULL in *handle. Results: 0, also for a handle that is
   already NULL; 5 `handle` itself is NULL. */
QLIP_API int qlip_Close(mm_Interface** handle);

/* The C interface cannot seek. Results: 5 for a NULL handle, 13 for NULL parameters, 10 otherwise. */
QLIP_API int qlip_SeekTo(mm_Interface* handle, struct _TAG_QLIP_SEEK_PARAMS* params);

/* Checks its arguments only; *status is not written. Results: 5 for a NULL handle, 13 for a NULL pointer, 0
 * otherwise. */
QLIP_API int qlip_GetIOCallbackStatus(mm_Interface* handle, unsigned int* status);

/* The text of a status code: static, never NULL, "Unknown status" for a code that has none. */
QLIP_API const char* qlip_StatusString(int status);

#ifdef __cplusplus
}
#endif

#endif
