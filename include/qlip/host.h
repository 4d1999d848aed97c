/*
 * The host kit: what every host of libqlip would otherwise write itself. A file goes in by name, RTP packets
 * that are ready to be sent come out. It is a library of its own, libqlip_host, which stands on the public
 * interface of libqlip.
 *
 *   qlip_source   the bytes of one file: a path, a descriptor, memory, or functions of the host
 *   qlip_stream   one track of a source, read as RTP packets (RFC 3550) or as chunks of the native stream
 *   qlip_packets  the packets of a frame, held beyond the next call by who sends them later
 *
 * Units: times are nanoseconds; sizes and offsets are bytes. A track's own clock and its edit list (ISO/IEC
 * 14496-12 8.6.6) are worked in: time 0 is the start of the presentation for all tracks of a file, so that
 * sound and picture with equal times belong together. A frame in front of it has a time below 0.
 *
 * Errors: functions return a status of qlip.h, 0 for success, 5 for a handle that is NULL, 13 for any other
 * argument that cannot be meant. What they hand out through pointers is written on success only, except where
 * it says otherwise. Nothing sets errno, is printed or goes to the system log; who wants to hear what libqlip
 * says about a file asks for it (qlip_source_set_limits).
 *
 * Threads: nothing is global. A source may be used by any number of threads at once. A stream belongs to one
 * thread at a time. Packets that are held may be read and let go by any thread.
 *
 * Ownership: handles are the caller's to close or to release, which stores NULL in the caller's variable.
 * What is handed out through a pointer to const belongs to the stream, and is good until the next call that
 * reads, seeks or closes it; packets can be held for longer (qlip_stream_keep_packets).
 *
 * Records that the caller makes begin with their size, so that a program built with an older header goes on
 * to work: QLIP_STREAM_OPTIONS_INIT and its like fill it in.
 *
 * Compiles as C99 and as C++17.
 */
#ifndef QLIP_HOST_H
#define QLIP_HOST_H

#include <stddef.h>
#include <stdint.h>
#include <sys/uio.h>

#include "qlip/export.h"
#include "qlip/limits.h"
#include "qlip/qlip.h"
#include "qlip/version.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Version ---- */

/* QLIP_VERSION of the library that is running, which may be newer than that of the header. */
QLIP_API unsigned int qlip_version(void);

/* The same as text: "1.0.0". */
QLIP_API const char* qlip_version_text(void);

/* ---- Sources ---- */

typedef struct qlip_source qlip_source;
typedef struct qlip_stream qlip_stream;
typedef struct qlip_packets qlip_packets;

/* A file by name. It is read with pread and needs no position, so that streams do not disturb each other.
   Results: 0; 3 the file cannot be opened, with the reason in errno; 10 it is no regular file, or passes
   4 GiB, which is as far as positions in these files go; 6. */
QLIP_API int qlip_source_path(qlip_source** source, const char* path);

/* The same for an open descriptor, which stays the caller's to close, after the source. */
QLIP_API int qlip_source_fd(qlip_source** source, int fd);

/* Bytes in memory or in a mapping, which stay the caller's, and where they are, until the source and its last
   stream are closed. Results: 0; 10 more than 4 GiB; 6. */
QLIP_API int qlip_source_memory(qlip_source** source, const void* bytes, size_t size);

/* For memory that fills up: so many bytes of it are there now. Results: 0; 13 fewer than before; 10 the
   source is no memory. */
QLIP_API int qlip_source_set_size(qlip_source* source, size_t size);

/* What `read_at` returns when it has no count to return. */
enum {
    QLIP_READ_WAIT = -1,  /* the bytes are not to be had now: the call that wanted them ends in 17 */
    QLIP_READ_FAILED = -2 /* nor later: 16 */
};

/* A host's own functions. All are called from every thread that has a stream on the source. */
typedef struct qlip_source_functions {
    size_t record_size; /* sizeof(qlip_source_functions) */
    /* Copies up to `size` bytes from `offset` on to `to`, and returns how many there were: fewer only where
       the bytes that are there end. Required. */
    int64_t (*read_at)(void* user, void* to, size_t size, uint64_t offset);
    /* How many bytes there are now. Required. */
    uint64_t (*size)(void* user);
    /* Called once, when the source and its last stream are closed. May be NULL. */
    void (*release)(void* user);
} qlip_source_functions;
#define QLIP_SOURCE_FUNCTIONS_INIT \
    { sizeof(qlip_source_functions), NULL, NULL, NULL }

/* A source that calls `functions` with `user`. The record is copied. */
QLIP_API int qlip_source_custom(qlip_source** source, const qlip_source_functions* functions, void* user);

/* Says that the file is still being written: what lies behind its end is not there yet (17) instead of
   missing (4). Unset it when the file is complete, so that streams find their end. */
QLIP_API int qlip_source_set_growing(qlip_source* source, int growing);

/* Waits until `size` bytes are there, the source no longer grows, or `timeout` nanoseconds have passed (below
   0: for ever). What to wait for after a 17: `needed` of qlip_source_state, or qlip_stream_needs. Memory
   wakes the waiter in qlip_source_set_size; other sources are looked at some 50 times a second. Results: 0
   the bytes are there; 17 the time is up; 4 the file is complete without them. */
QLIP_API int qlip_source_wait(qlip_source* source, uint64_t size, int64_t timeout);

/* Asks to be told which bytes are done with: `advanced` is called with an offset below which no stream that
   is open now will ask for media data again, unless it seeks back. A host can then release the pages of a
   mapping or the front of a buffer; the structure (moov), which each new stream reads, it keeps. The call
   comes from the thread that reads, in steps of 64 KiB or more. Set it before the first stream is opened;
   NULL unsets. */
QLIP_API int qlip_source_set_advanced(qlip_source* source, void (*advanced)(void* user, uint64_t offset),
                                      void* user);

/* Limits (limits.h) for each stream and each look at the structure, instead of none, and the function that
   takes what libqlip has to say; without one nobody hears it. A file that passes a limit is damaged (4). The
   record is copied; set it before the first stream is opened. */
QLIP_API int qlip_source_set_limits(qlip_source* source, const qlip_limits* limits);

/* Lets go of the source and stores NULL in *source. It lives on until its last stream is closed. A NULL
   handle is nothing to do: 0. */
QLIP_API int qlip_source_close(qlip_source** source);

/* How much of a file's structure, the box moov with all tables, is there. */
typedef enum qlip_structure {
    QLIP_STRUCTURE_NOT_YET, /* it is missing or cut short, but the file still grows */
    QLIP_STRUCTURE_WHOLE,   /* streams can be opened */
    QLIP_STRUCTURE_DAMAGED  /* missing, cut short or contradictory, and nothing more will come */
} qlip_structure;

typedef struct qlip_source_info {
    size_t record_size;        /* sizeof(qlip_source_info), set by the caller */
    uint64_t size;             /* bytes there are now */
    qlip_structure structure;  /* of moov: */
    uint64_t structure_offset; /* where it begins; 0 while it was not found */
    uint64_t structure_size;   /* its bytes, or 0 */
    uint8_t structure_first;   /* it stands in front of the media data: the file plays while it arrives */
    uint8_t growing;           /* as qlip_source_set_growing left it */
    uint8_t complete;          /* structure whole, and all media data there */
    uint64_t needed; /* how long the file must be for the next step: for the structure to be whole, then
                        for all media data to be there */
} qlip_source_info;
#define QLIP_SOURCE_INFO_INIT \
    { sizeof(qlip_source_info), 0, QLIP_STRUCTURE_NOT_YET, 0, 0, 0, 0, 0, 0 }

/* What is there of the file. The structure is read and let go again. Results: 0; 16 and 17 when the source
   could not be read; 6. */
QLIP_API int qlip_source_state(qlip_source* source, qlip_source_info* info);

/* ---- Tracks ---- */

typedef enum qlip_medium { QLIP_OTHER_MEDIUM = 0, QLIP_AUDIO = 'a', QLIP_VIDEO = 'v' } qlip_medium;

typedef enum qlip_codec {
    QLIP_OTHER_CODEC = 0,
    QLIP_AMR_NB,
    QLIP_AMR_WB,
    QLIP_H263,
    QLIP_MPEG4_VISUAL,
    QLIP_H264,
    QLIP_AAC,        /* known, not delivered */
    QLIP_AMR_WB_PLUS /* known, not delivered */
} qlip_codec;

typedef struct qlip_track_info {
    size_t record_size; /* sizeof(qlip_track_info), set by the caller */
    uint32_t id;        /* track_ID */
    qlip_medium medium;
    qlip_codec codec;
    int status;            /* what opening a stream on it says: 0, 15 (codec), 4 (tables that disagree), 10 */
    const char* reason;    /* why, in words; static; "" for 0 */
    uint64_t duration;     /* of the media */
    uint64_t byte_count;   /* of all its samples */
    uint32_t sample_count; /* pictures, or groups of speech frames */
    uint32_t sync_count;   /* samples at which decoding can start; sample_count where the file names none */
    uint32_t timescale;    /* of its times in the file, units per second */
    uint32_t width, height;  /* pixels; 0 for audio */
    uint32_t profile, level; /* of H.263 and H.264; MPEG-4 visual: 0 and profile_and_level_indication */
    int64_t shift;           /* what the edit list adds to its times */
    uint8_t hinted;          /* it has an RTP hint track of packets up to 1,400 bytes; video uses it */
} qlip_track_info;
#define QLIP_TRACK_INFO_INIT                                                                                 \
    {                                                                                                        \
        sizeof(qlip_track_info), 0, QLIP_OTHER_MEDIUM, QLIP_OTHER_CODEC, 0, NULL, 0, 0, 0, 0, 0, 0, 0, 0, 0, \
            0, 0                                                                                             \
    }

/* The track number `index`, from 0, in the order of the file; hint tracks are not counted. Nothing is logged
   about tracks that are absent. Results: 0; 14 there are no more; 17 the structure is not there yet; 4 it is
   damaged; 10 the file is in movie fragments; 16; 6. */
QLIP_API int qlip_source_track(qlip_source* source, unsigned int index, qlip_track_info* info);

/* The last time at or before `time` at which decoding of the file's video can start (see qlip_stream_seek).
   Seek all streams of a file to it, and they stand at the same point. In a file without video: `time` itself.
 */
QLIP_API int qlip_source_sync_before(qlip_source* source, int64_t time, int64_t* sync);

/* ---- Streams ---- */

typedef struct qlip_stream_options {
    size_t record_size; /* sizeof(qlip_stream_options) */
    uint32_t ssrc;      /* the three random starts of RFC 3550 5.1: the kit draws none itself */
    uint32_t first_timestamp;
    uint16_t first_sequence;
    uint8_t payload_type; /* up to 127; 0: the usual one, see qlip_stream_info */
    uint8_t keep_no_data; /* send AMR frames that hold nothing, too; RFC 4867 4.5.1 would rather not */
    uint8_t chunks;       /* the stream is read with qlip_stream_read_chunk */
    uint32_t track_id;    /* this track instead of the medium's last one; 0: that one. Not with `chunks` */
    char* error;          /* where a failed qlip_stream_open puts the reason; may be NULL */
    size_t error_size;    /* room there */
} qlip_stream_options;
#define QLIP_STREAM_OPTIONS_INIT \
    { sizeof(qlip_stream_options), 0, 0, 0, 0, 0, 0, 0, NULL, 0 }

/* What does not change while a stream is open, but by qlip_stream_set_first_timestamp. */
typedef struct qlip_stream_info {
    size_t record_size; /* as far as the library that is running fills the record */
    qlip_medium medium;
    qlip_codec codec;
    uint32_t track_id;
    uint8_t hinted;            /* packets come from the file's hint track */
    const char* encoding_name; /* of the payload format: "AMR", "AMR-WB", "H263" (RFC 2190), "H263-1998" (RFC
                                  4629), "MP4V-ES", "H264" */
    const char* format_parameters; /* the text behind "a=fmtp:PT ", "" for none */
    uint32_t payload_type;         /* as chosen, or 97, 98, 34, 96, 102, 103, in the order above */
    uint32_t clock_rate;           /* RTP ticks per second */
    uint32_t channels;             /* audio: 1 */
    uint32_t width, height;        /* video: pixels */
    uint32_t bit_rate;             /* of the track's media, per second; 0 when unknown */
    uint64_t duration;             /* of the media */
    uint32_t sample_count;         /* pictures, or groups of speech frames */
    uint32_t ssrc, first_timestamp;
    uint16_t first_sequence;
    const uint8_t* config; /* decoder configuration: MPEG-4 visual headers, avcC; NULL for none */
    size_t config_size;
} qlip_stream_info;

/* Bytes of header in front of each packet's payload. */
enum { QLIP_RTP_HEADER_SIZE = 12 };

/* A picture or speech frame, ready to be sent. */
typedef struct qlip_frame {
    int64_t time;                /* when to send it: its decoding time. Never falls from frame to frame */
    int64_t presentation_time;   /* when to show it */
    uint64_t duration;           /* how long it lasts; silence that is not sent may follow it */
    uint32_t timestamp;          /* RTP, of all its packets: when to show it, counted from the start
                                    of the track's media, which is first_timestamp */
    uint16_t sequence;           /* RTP, of the first one; numbers run on without a gap, also over a seek */
    uint8_t is_sync;             /* decoding can start here */
    uint8_t marker;              /* the last packet carries the marker: always for video; for audio the first
                                    speech frame after silence */
    unsigned int packet_count;   /* at least 1 */
    const struct iovec* packets; /* each a whole RTP packet: header and payload in one run of bytes */
} qlip_frame;

/*
 * Opens a track of the source for reading: its last audio or video track of a supported codec, or the one
 * that `options` names. `options` may be NULL. The source is held until the stream is closed. Video with a
 * hint track of packets up to 1,400 bytes is sent as that says; all else is cut by libqlip.
 *
 * Results: 0; 14 no such track; 15 there is one, of a codec that is not supported; 17 the structure of a
 * growing file is not there yet; 4 it is damaged, or missing for good; 10 the file is in movie fragments, or
 * has samples beyond what `chunks` can carry; 16 the source failed; 6. *stream is NULL after a failure.
 */
QLIP_API int qlip_stream_open(qlip_stream** stream, qlip_source* source, qlip_medium medium,
                              const qlip_stream_options* options);

/* What was opened; good until the stream is closed. NULL for NULL. */
QLIP_API const qlip_stream_info* qlip_stream_get_info(const qlip_stream* stream);

/*
 * The next frame. Allocates nothing unless packets are held (qlip_stream_keep_packets). In the place of each
 * packet's header a receiver finds right what the records of the native stream leave to the sender: one
 * marker, at the end; presentation times where frames are stored out of order; H.264 parameter sets only in
 * front of a picture; numbers without gaps.
 *
 * Results:
 *   0   a frame
 *   1   the end of the track; every sample was delivered
 *   17  its data is not there yet. Nothing is lost: the same frame comes with a later call
 *   4   the file is cut before the frame (a later call says so again), or the next sample is damaged (a later
 *       call goes on behind it); qlip_stream_error tells
 *   10  the sample or frame is larger than the kit takes (16 MiB); a later call goes on behind it
 *   16  the source failed; a later call tries again
 *   8   the stream was opened for chunks
 */
QLIP_API int qlip_stream_read(qlip_stream* stream, const qlip_frame** frame);

/*
 * Keeps the packets of the frame that was read last, for a sender that queues them: their bytes stay where
 * and as they are while the stream is read, sought in or closed, and after its source is closed, until
 * *packets is released. The frame's record and its array are gone: copy what is wanted of them. Each call
 * hands out one more hold on the same packets, each to be released once; so each packet of a frame can have
 * its own. The bytes are the holders' alone, who may write to them.
 *
 * The next frame is built in other memory, with room for the track's largest frame. The stream allocates it
 * when it is needed, uses what was released again, and lets go of it when it is closed: after a while reading
 * allocates nothing, but a stream has memory for as many frames as were held at once.
 *
 * Results: 0; 8 the last call on the stream was no read that gave a frame. *packets is written on success
 * only.
 */
QLIP_API int qlip_stream_keep_packets(qlip_stream* stream, qlip_packets** packets);

/* Lets go of packets and stores NULL in *packets. From any thread, also after the stream was closed. A NULL
   handle is nothing to do: 0. */
QLIP_API int qlip_packets_release(qlip_packets** packets);

/*
 * The next chunk of the native stream (docs/native-stream.md) and its length, from a stream that was opened
 * for chunks: what qlip_ReadChunk delivers, with a length, and with the truth about files that are cut or
 * growing, as for qlip_stream_read. Results also: 2 libqlip failed; 8 the stream was opened for frames.
 */
QLIP_API int qlip_stream_read_chunk(qlip_stream* stream, const void** chunk, size_t* size);

/*
 * Goes to the last place at or before `time` at which decoding can start: for video a sync sample, by its
 * presentation time; for audio any sample. A time before the first one leads there. The next frame read is
 * that one; its presentation time goes to *landed, which may be NULL. Sequence numbers run on; timestamps are
 * those of the new place. Nothing is read in between.
 *
 * Results: 0; 8 the stream was opened for chunks; 1 the track is empty; 4, 16, 17.
 */
QLIP_API int qlip_stream_seek(qlip_stream* stream, int64_t time, int64_t* landed);

/* Another first_timestamp for the frames to come: a stream that is played again from its start runs on, where
   that is the old one plus what has passed. */
QLIP_API int qlip_stream_set_first_timestamp(qlip_stream* stream, uint32_t first_timestamp);

/* Why the last call on the stream did not return 0, in words that name places and numbers; "" when it did.
   Good until the next call. Never NULL. */
QLIP_API const char* qlip_stream_error(const qlip_stream* stream);

/* How long the file must be for the call that ended in 17 to get on; 0 when none did. */
QLIP_API uint64_t qlip_stream_needs(const qlip_stream* stream);

/* Closes the stream and stores NULL in *stream. A NULL handle is nothing to do: 0. */
QLIP_API int qlip_stream_close(qlip_stream** stream);

/* ---- Descriptions ---- */

/* These write text and a NUL to `text`, as far as `size` goes, and return the length of the whole text
   without the NUL; below 0 for a bad call, the status negated. `text` may be NULL with a `size` of 0. */

/* The media section of a session description (RFC 8866): "m=", "a=rtpmap:", "a=fmtp:", "a=framesize:", each
   line ended by CR LF. Port 0 is what RTSP wants. `control` becomes "a=control:"; NULL leaves that out. */
QLIP_API int qlip_stream_sdp(const qlip_stream* stream, unsigned int port, const char* control, char* text,
                             size_t size);

/* The same as capabilities of GStreamer, for gst_caps_from_string: "application/x-rtp, media=..." */
QLIP_API int qlip_stream_caps(const qlip_stream* stream, char* text, size_t size);

/* ---- Clocks of several streams ---- */

/* The RTP timestamp of a presentation time, the same that frames have: for RTP-Info and for sender reports. 0
   for NULL. */
QLIP_API uint32_t qlip_stream_timestamp(const qlip_stream* stream, int64_t time);

/* An RTCP packet for the stream, which is what lets a receiver play sound and picture together: a sender
   report and the source's name (RFC 3550 6.4.1, 6.5.1). `ntp` is the wall clock as an NTP timestamp, `time`
   the presentation time that it shows now; `cname`, at most 255 bytes, is the same for all streams of a
   sender. Counts are those of the frames read so far. *size is the room at `packet`, and becomes the packet's
   size; 13 when that is not enough: QLIP_SENDER_REPORT_MAX always is. */
enum { QLIP_SENDER_REPORT_MAX = 300 };
QLIP_API int qlip_stream_sender_report(const qlip_stream* stream, uint64_t ntp, int64_t time,
                                       const char* cname, void* packet, size_t* size);

#ifdef __cplusplus
}
#endif

#endif
