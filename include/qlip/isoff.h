// The ISO engine: a 3GP file (ISO/IEC 14496-12, 3GPP TS 26.244) as plain records, read through the host's
// callbacks or written to a stream of the opener's.
//
// Everything is 32-bit: there is no co64 and no 64-bit box size, and additions wrap. Times are double
// seconds. A file and its tracks belong to one thread at a time. Pointers that the records hold live until
// isoFFclose.
//
// Results are values, not exceptions: a count, or ISOFF_END for the end or an unusable call, or ISOFF_NOT_YET
// when a callback could not deliver the bytes now and the same call may be made again.
#pragma once

#include <cstdio>

#include "qlip/export.h"
#include "qlip/limits.h"
#include "qlip/qlip.h"

inline constexpr int ISOFF_END = -1;
inline constexpr int ISOFF_NOT_YET = -2;
inline constexpr int ISOFF_OVER_LIMIT = -3;  // of isoFFopenLimited alone

// Sample-entry kinds, in `codec` of a track. 6 is not assigned.
enum iso_codec : int {
    ISO_CODEC_NONE = -1,
    ISO_CODEC_MP4V = 0,  // MPEG-4 visual
    ISO_CODEC_MP4A = 1,  // AAC
    ISO_CODEC_S263 = 2,  // H.263
    ISO_CODEC_SAMR = 3,  // AMR-NB
    ISO_CODEC_AVC1 = 4,  // H.264
    ISO_CODEC_SAWB = 5,  // AMR-WB
    ISO_CODEC_SAWP = 7,  // AMR-WB+
    ISO_CODEC_RTP = 8,   // RTP hint track
    ISO_CODEC_SRTP = 9   // SRTP hint track
};

struct iso_file;
struct iso_track;
struct hint_state;
struct arena_chunk;

// Byte range of one chunk in the file.
struct chunk_span {
    unsigned int start;  // from stco
    unsigned int end;    // one past the last byte, worked out from the sample tables
};

// One frame of a track that is being written.
struct iso_data {
    unsigned int delta;  // duration, media time units
    unsigned int cto;    // composition offset, media time units
    int size;
    unsigned char* data;  // null once the bytes are in the file
    unsigned int offset;  // file position
    iso_data* next;
};

// One run of an sbgp table.
struct iso_group_run {
    int sample_count;
    int group_index;
    iso_group_run* next;
};

// One entry of an sgpd table; the records lie behind it in the same block.
struct iso_group_entry {
    int record_count;
    unsigned int (*records)[5];
    iso_group_entry* next;
};

// One entry of the writer's list of sync samples.
struct iso_sync_sample {
    unsigned int number;  // 1-based
    iso_sync_sample* next;
};

// One buffer of a track's pending list; nothing fills that list.
struct iso_pending_buffer {
    iso_pending_buffer* next;
};

// An open file. The order of the fields is part of the interface.
struct iso_file {  // NOLINT(clang-analyzer-optin.performance.Padding)
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io;
    unsigned char indexed_read;  // samples come through IndexRead instead of Seek and SeekNRead
    unsigned char from_open;     // 1: isoFFopen made the record; 0 in one of the host's own
    unsigned int magic;          // 0xc0de100
    unsigned int od_id;
    unsigned int od_profile, scene_profile, visual_profile, graphics_profile, audio_profile;
    unsigned int creation_time, modification_time;  // seconds since 1904
    unsigned int timescale;
    unsigned int duration;  // in `timescale` units
    unsigned int next_track_id;
    iso_track* tracks;
    iso_track* current_track;
    char major_brand[5];
    unsigned int minor_version;
    char* compatible_brands;  // separated by single blanks
    unsigned int position;    // of the top-level parse; of the output in direct writing
    unsigned int mdat_start, mdat_end;
    unsigned char* mdat_image;  // a media box that stood ahead of moov
    int writing;
    unsigned long (*read_fn)(void* dst, unsigned long size, unsigned long count, void* file);
    int (*seek_fn)(void* file, long offset, int whence);
    void* stream;      // writing: the output, a FILE* of the opener's
    FILE* aux_stream;  // closed by isoFFclose when set
    int depth;
    unsigned int header_bytes;
    unsigned int max_file_size;
    double max_duration;        // seconds
    double interleave_period;   // seconds
    unsigned int status_flags;  // ISO_STATUS_*
    char* sdp;                  // movie-level SDP text
    int direct_tracks;
    iso_track* direct_track;
    unsigned int direct_index;
    int arena_chunks;
    arena_chunk *arena_head, *arena_tail;
    int arena_left;
    unsigned char* arena_next;
    int in_buffer;
    unsigned char* buffer_next;
    int buffer_left;
};

inline constexpr unsigned int ISO_STATUS_WRITE_FAILED = 1u << 0;
inline constexpr unsigned int ISO_STATUS_DIRECT = 1u << 28;

// A track of an open file. The order of the fields is part of the interface.
struct iso_track {       // NOLINT(clang-analyzer-optin.performance.Padding)
    unsigned int magic;  // 0xc0de200
    char* location;      // data reference URL, null for self-contained
    char handler[5];
    unsigned int track_id;
    unsigned int creation_time, modification_time;
    unsigned int timescale, duration;  // media
    int codec;                         // iso_codec
    char vendor[5];
    unsigned char decoder_version;
    unsigned char level;    // H.263, H.264; MPEG-4: profile-and-level indication
    unsigned char profile;  // H.263, H.264
    unsigned short mode_set;
    unsigned char mode_change_period, frames_per_sample;
    unsigned int object_type;  // objectTypeIndication, ISO/IEC 14496-1
    unsigned int stream_type;
    unsigned int layer, alternate_group, volume;
    unsigned char* dsi;  // decoder specific information
    int dsi_size;
    unsigned int buffer_size_db;
    unsigned int channel_count, sample_bits;
    unsigned int max_bitrate, avg_bitrate;
    unsigned int width, height;               // pixels
    unsigned int h_resolution, v_resolution;  // 16.16
    unsigned int depth;
    unsigned int default_delta;
    unsigned int last_delta, last_cto;
    int stts_count, ctts_count;
    int sample_count;
    unsigned int sample_size;  // constant size, 0 when `sample_sizes` is used
    int max_sample_size;
    unsigned int total_bytes;
    double track_time;
    unsigned int* sample_sizes;
    chunk_span* chunks;
    int chunk_count;
    unsigned int (*stsc)[3];  // first chunk, samples per chunk, description index
    int stsc_count;
    int (*stts)[2];  // sample count, delta
    int (*ctts)[2];  // sample count, offset
    int sample;      // the read cursor: index of the next sample, from 0
    unsigned int file_pos;
    int chunk;
    iso_pending_buffer *pending_head, *pending_tail;
    int stts_index, stts_run;
    int ctts_index, ctts_run;
    FILE* spill_file;  // writing: media data goes here instead of memory; closed by isoFFclose
    unsigned int duration_limit;
    iso_data *data_head, *data_cursor;
    iso_file* file;
    iso_track* next;
    unsigned int flags;  // ISO_TRACK_*
    int edit_count;
    unsigned int (*edits)[3];  // duration, media time, rate
    int xml_size;
    unsigned char* xml;
    unsigned int matrix[9];
    hint_state* hint;
    unsigned int hint_ref_track;
    unsigned int profile_compat;
    unsigned int nal_length_size;
    int sps_count;
    unsigned char* sps;
    int pps_count;
    unsigned char* pps;
    unsigned char* parameter_sets;  // sps, then pps
    unsigned int parameter_sets_size;
    char* sdp;
    int sbgp_count;
    iso_group_run* sbgp;
    char grouping_type[5];
    int sgpd_count;
    iso_group_entry* sgpd;
    int sync_count;
    unsigned int* sync_samples;
    iso_sync_sample* sync_list;
    char* tsel_attributes;
    unsigned int tsel_group;
    unsigned int hint_version, hint_compat_version;
    unsigned int max_packet_size;
    unsigned int tims, tsro, snro;
    unsigned int seq_state;
    unsigned int last_seq, last_timestamp;
    unsigned int tsro_present, snro_present;
    char srpp_types[4][5];
    char scheme_type[5];
    unsigned int scheme_version;
    char* scheme_url;
    unsigned char* schi;
    unsigned int schi_size;
    unsigned int estimated_bytes;
    iso_data* pending;
    unsigned int pending_bytes;
    unsigned int written_samples, written_duration, written_cost;
    int read_floor;
    unsigned int payload_type;
};

// Bits of `flags` in a track; the rest is the engine's.
inline constexpr unsigned int ISO_TRACK_PREPEND_DSI = 1u << 1;  // isoFFframeInfo counts decoder information
inline constexpr unsigned int ISO_TRACK_CLOSED = 1u << 2;       // closed for writing

// State of the playback of a hint track.
struct hint_state {
    iso_track* media_track;  // null: not armed
    unsigned int packets_left;
    int sample;
    unsigned int sample_offset;
    double rtp_time;
    unsigned int timestamp;
    unsigned int ssrc;
};

// ---- Opening and closing ----

// Opens a file. The first character of `mode` decides: 'r' parses the file behind `io`, which the host keeps
// alive until isoFFclose; 'w' makes an empty file to be written (the opener then sets `stream`). Returns the
// file also when its boxes could only be read in part, with the tracks made so far. Null: *err is -1 for
// another mode, -2 for no memory; `err` may be null. A null `io` or a null slot counts as a stream that
// delivers nothing.
//
// moov is read with one call of SeekNRead and its tables are converted where they lie, so that a file costs
// about its moov in memory. A media box ahead of moov is read into memory as well (`mdat_image`); one behind
// it ends the parse. Diagnostics of a damaged file go to standard output.
QLIP_API iso_file* isoFFopen(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, char* mode, int* err);

// isoFFopen for reading, within limits (limits.h), which are copied and hold until isoFFclose. `io` must be
// complete, and file->io is a record of the library's that forwards to it. Null: *err is -1 for another mode
// or arguments that cannot be meant, -2 for no memory, ISOFF_OVER_LIMIT for a file that passes a limit. A
// later call that passes the limit of steps results in ISOFF_END.
QLIP_API iso_file* isoFFopenLimited(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, char* mode, int* err,
                                    const qlip_limits* limits);

// Finishes a file that is being written, and frees everything that belongs to it. `stream` stays the opener's
// to close; `aux_stream` and the `spill_file`s are closed. Returns 0, or -1 for null.
QLIP_API int isoFFclose(iso_file* file);

// Adds a track. Returns null for a null file or when there is no memory.
QLIP_API iso_track* isoFFtrack(iso_file* file);

// The n-th track, counted from 1, whose handler equals `handler` (of all tracks when that is null). Null if
// there is none, and for a file opened for writing.
QLIP_API iso_track* isoFFselect(iso_file* file, char* handler, int n);

// 0 if one of `brands` (groups of four characters, at most one blank between them) is the major brand or
// stands among the compatible ones; else -1.
QLIP_API int isoFFcompatible(iso_file* file, char* brands);

// Sets the brands of a file: four-character brands joined by single blanks, the first being the major one. -1
// for missing arguments, any other length, or no memory.
QLIP_API int isoFFsetBrand(iso_file* file, char* brands, int minor);

// ---- Arena ----

// Memory that lives until isoFFclose, zero when made; null when there is none or `size` is negative.
QLIP_API void* isoFFmalloc(iso_file* file, int size);

// Counts a block as given back. Nothing is released before isoFFclose.
QLIP_API void isoFFfree(void* block);

// ---- Information ----
// Every result pointer may be null.

// Number of tracks, movie duration in seconds, bytes of all samples. 0, or -1 for null.
QLIP_API int isoFFfileInfo(iso_file* file, int* tracks, double* seconds, int* bytes);

// Codec, number of samples, media duration in seconds, bytes of all samples. 0, or -1 for null.
QLIP_API int isoFFtrackInfo(iso_track* track, int* kind, int* samples, double* seconds, int* bytes);

// Duration in seconds and size of the sample at the cursor; the size counts the decoder information as well
// when the track prepends it. 0, or -1 for null or at the end.
QLIP_API int isoFFframeInfo(iso_track* track, double* time, int* size);

// The longest run of one track's time, in seconds, that is stored without another track between; -1.0 without
// memory.
QLIP_API double isoFFgetInterleave(iso_file* file);

// ---- Samples ----
// `time` receives the sample's duration, `cto` its composition offset, both in seconds.

// Reads the sample at the cursor and moves behind it. Returns the bytes read (a short read is passed on),
// ISOFF_END at the end, for a sample larger than `size`, or for a null track; ISOFF_NOT_YET with the cursor
// unmoved.
QLIP_API int isoFFread(iso_track* track, void* buf, int size, double* time, double* cto);

// Reads up to `len` bytes of a sample, counted from 0, from `offset` in it on, and leaves the cursor on that
// sample. Returns the bytes read, 0 for nothing to read, ISOFF_END for a bad track or sample. Indexed reading
// returns ISOFF_NOT_YET when IndexRead refuses, and else the length asked for, cut to the sample; positioned
// reading returns the length that SeekNRead stored, whatever its status.
QLIP_API int isoFFreadAt(iso_track* track, int sample, int offset, void* buf, unsigned int len, double* time,
                         double* cto);

// Moves the cursor to a sample, counted from 0: forward in a step per sample, back from the start of the
// track. On a hint track the next packet is the first of that hint sample. 0, or -1 for a null track or a
// sample that is not there.
QLIP_API int isoFFsetPosition(iso_track* track, int sample);

// ---- Decoder configuration ----

// The decoder information, owned by the file; its length goes to *size. A non-zero `prepend` sets, zero
// clears ISO_TRACK_PREPEND_DSI. Null for a null track.
QLIP_API void* isoFFgetDecoderSpecificInfo(iso_track* track, int* size, int prepend);

// Replaces the decoder information by a copy of `data`. 0, or -1 for a null track or no memory.
QLIP_API int isoFFsetDecoderSpecificInfo(iso_track* track, void* data, int size);

// The parameter sets of an H.264 track in start-code form (ITU-T H.264 Annex B), in a buffer from malloc that
// the caller frees. Returns its length, or -1 without decoder information, for one whose lengths point
// outside it, or no memory.
QLIP_API int isoFFGetDSIin3GPP(iso_track* track, int prepend, unsigned char** out);

// Turns parameter sets in start-code form into an avcC payload (ISO/IEC 14496-15 5.2.4.1), in a buffer from
// malloc that the caller frees. Returns 1, or 0 without memory or for more than the 256 bytes of the result
// can hold.
QLIP_API int convertDCI_3gpp_to_ISO(unsigned char* in, unsigned int len, unsigned char** out, int* outlen);

// ---- RTP hint tracks ----

// Largest packet that isoFFrtpPacket builds; its caller's buffer holds this many bytes.
inline constexpr int ISOFF_PACKET_CAPACITY = 64000;

// Finds the hint track for a media track with the largest packet size not above `max_packet`, and arms it
// from its cursor's sample, with the clock at 0. Null if there is none, or no memory. The hint track keeps
// the media track: its packets move the cursors of both.
QLIP_API iso_track* isoFFrtpHinter(iso_track* media, int max_packet);

// The same choice; playback goes on at the current hint sample. Between two packets of one hint sample this
// loses the second: the engine takes the next bytes for a packet count. A track that isoFFrtpHinter did not
// arm before gets its state from malloc, which isoFFclose does not free.
QLIP_API iso_track* isoFFfindHintTrack(iso_track* media, int max_packet);

// Builds the next RTP packet (RFC 3550 header and payload) of an armed hint track in `buf`, which holds
// ISOFF_PACKET_CAPACITY bytes. Returns its length; 0 at the end; ISOFF_END on failure; ISOFF_NOT_YET when
// data is missing now: the next call builds the same packet from its start.
QLIP_API int isoFFrtpPacket(iso_track* hint, void* buf);

// ---- Writing ----

// Results of isoFFwrite below 0.
enum iso_write_result : int {
    ISO_WRITE_BAD_CALL = -1,
    ISO_WRITE_NO_MEMORY = -2,
    ISO_WRITE_FAILED = -5,     // the file has a write error
    ISO_WRITE_FILE_FULL = -6,  // would pass max_file_size; the track is now closed
    ISO_WRITE_TOO_LONG = -7,   // would pass duration_limit; the track is now closed
    ISO_WRITE_TRACK_CLOSED = -8,
    ISO_WRITE_NO_DIRECT_TRACK = -9  // direct mode: track number above direct_tracks
};

// Adds a frame of `n` bytes to a track. `delta` is its duration and `cto` its composition offset in media
// time units; a delta of 0 means the last one given. Returns n or an iso_write_result.
QLIP_API int isoFFwrite(iso_track* track, void* buf, int n, int delta, int cto);
