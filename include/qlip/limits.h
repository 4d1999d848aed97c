/*
 * Limits for files of strangers, and a function of the host's for every line that the library would print or
 * log. Both are asked for when a file is opened, and hold for that one object: nothing here is global, and
 * without limits everything is as told elsewhere.
 *
 *   qlip_OpenLimited     a session, in place of qlip_Open (qlip.h)
 *   isoFFopenLimited     a file of the ISO engine, in place of isoFFopen (isoff.h)
 *   qlip_LimitCallbacks  a callback record for C3gpInterface (c3gpinterface.h), and for Simple3gp and boxes
 *                        read one by one (vorn3gp.h)
 *
 * A file that asks for more than a limit allows is refused: the call ends in status 4 (QLIP_CORRUPT_FILE), a
 * function of the engine in its failure, a read of boxes in an exception derived from std::bad_alloc. An
 * error line says which limit it was. Nothing of a refused file stays open, and what was delivered before
 * stays delivered.
 *
 * With limits set, no file ends the process: where the box model would exit or abort, it throws
 * SimpleException instead.
 *
 * Compiles as C99 and as C++17.
 */
#ifndef QLIP_LIMITS_H
#define QLIP_LIMITS_H

#include <stddef.h>
#include <stdint.h>

#include "qlip/export.h"
#include "qlip/qlip.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What a line is about. */
enum {
    QLIP_LINE_ERROR = 1,   /* an operation failed */
    QLIP_LINE_WARNING = 2, /* the file is damaged or odd, and is used as far as it goes */
    QLIP_LINE_DEBUG = 3,   /* only when sx_Debug (SimpleException.h) asks for it */
    QLIP_LINE_VERBOSE = 4
};

/*
 * Takes one line: no line end, no prefix of the level, never longer than 1,023 characters. It may quote the
 * file: control characters are replaced, so that it stays one line, but it need not be UTF-8. The text is the
 * library's, and good until the function returns.
 * Lines of the system log begin with a source path and line, "interface/src/isoff(12): ".
 *
 * Called from within the call of the library that has something to say, on its thread. It must not use the
 * object whose line it is, and must not let an exception out.
 */
typedef void qlip_line_function(int level, const char* text, void* user);

/* Limits of one object. Every number may be 0, which is no limit beyond those that the library has anyway
   (SECURITY.md tells them). */
typedef struct qlip_limits {
    size_t record_size; /* sizeof(qlip_limits) */

    /* Boxes in the structure of the file, those of no known kind and sample entries among them. A film has 40
       to 100; a file with many tracks or sample groups no more than some thousands. */
    uint64_t boxes;

    /* Bytes for the structure of the file: its tables, texts and box objects. The session's fixed record
       (some 140 KB) and the second reader's frame and sample buffers are not in it. With this limit the
       engine passes over media data that stands in front of the structure, instead of keeping an image of it
       in memory. */
    uint64_t memory;

    /* Samples of one track, by the count that the file claims. */
    uint64_t samples;

    /* Lines in all. The last one says that further ones are left out. Whatever is set here, no more than 64
       warnings or errors of one kind are written for a file. */
    uint64_t lines;

    /* Calls of the host's functions in one call of the library, opening included: a bound for the time of
       one call. A film with a whole moov is opened by the session in some 50, by the box model in some 20 for
       each box; a read takes two calls for a sample, and for a replayed frame up to four for each packet. */
    uint64_t steps;

    /* Takes every line instead of standard output, standard error and the system log; NULL leaves them
       there. */
    qlip_line_function* line;
    void* user; /* handed to `line` */
} qlip_limits;
#define QLIP_LIMITS_INIT \
    { sizeof(qlip_limits), 0, 0, 0, 0, 0, NULL, NULL }

/*
 * qlip_Open within limits. The record of limits is copied; what `user` points to must live until qlip_Close.
 * The arguments are looked at before the file is.
 *
 * Results: those of qlip_Open; 4 the file passes a limit; 13 also for NULL limits, or a record_size that
 * cannot be meant. Later, qlip_ReadChunk answers 4 for a call that passed the limit of steps: the session is
 * then best closed.
 */
QLIP_API int qlip_OpenLimited(mm_Interface** handle, _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks,
                              const char* mode, const qlip_limits* limits);

/*
 * A callback record that forwards to `callbacks`, with the limits in it: hand it to one C3gpInterface or
 * Simple3gp, or to the boxes of one file, in place of the host's own. The host's record must live as long.
 * Limits count over the life of the record, so take a new one for each file.
 *
 * NULL: no memory, or an argument that cannot be meant: NULL, a function missing, a record_size out of all
 * proportion. Give it back with qlip_FreeLimitedCallbacks when the objects that use it are closed; NULL is
 * nothing to do.
 */
QLIP_API _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* qlip_LimitCallbacks(
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* callbacks, const qlip_limits* limits);
QLIP_API void qlip_FreeLimitedCallbacks(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* limited);

#ifdef __cplusplus
}
#endif

#endif
