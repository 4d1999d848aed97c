// The older packet family: a 12-byte header in network byte order (pkq_packet_record in native_stream.h) in
// front of each payload. Today's stream is that of wld_native.h; of this family the readers use rtp2pkq and
// wld_put_header_pkq2wld, the rest serves hosts with stored streams of the older kind.
#pragma once

#include <cstddef>

#include "qlip/export.h"

struct iso_track;
struct pkq_native;

// Bits of `flags` in PKQ_RTP; the bits of wld_native.h share the word.
inline constexpr unsigned int PKQ_FLAG_PRINT = 1u << 31;       // print every header
inline constexpr unsigned int PKQ_FLAG_COMPLAIN = 1u << 30;    // print what is wrong
inline constexpr unsigned int PKQ_FLAG_CHECK = 1u << 29;       // check; any of the three turns checks on
inline constexpr unsigned int PKQ_FLAG_SKIP_PRINT = 1u << 16;  // skip the next print

// A packet header in memory.
struct PKQ_RTP {
    int first;
    int size;  // payload bytes
    int magic;
    int marker;
    int type;
    int sequence;  // preset to -2, pkq_get_header does not complain about the first packet
    unsigned int time;
    unsigned int unused;  // pkq_native keeps its RFC mode here
    unsigned int flags;   // PKQ_FLAG_*
};

// As wld_packetiser, with records of this family.
typedef int (*pkq_packetiser)(void* out, int out_size, void* in, int in_size, double seconds,
                              pkq_native* native);

// State of a packetiser. It has the layout of wld_native, where `rtp` covers two fields more.
struct pkq_native {
    int codec;
    unsigned int packet_count;  // not counted by this family
    PKQ_RTP rtp;
    int clock_rate;      // timestamp units per second
    unsigned char* dsi;  // not used
    unsigned int dsi_size;
    double time_accumulator;  // next timestamp, unrounded
    int max_payload;          // largest payload of a packet
    unsigned int last_source_format;
    unsigned int nal_length_size;
    unsigned int unused;
    pkq_packetiser packetise;  // null: none
};

static_assert(sizeof(PKQ_RTP) == 36);
static_assert(offsetof(pkq_native, clock_rate) == 44);

// A stream of another program's: `read` has the arguments and result of fread, `stream` is its last one.
struct mfileio {
    size_t (*read)(void* buffer, size_t size, size_t count, void* stream);
    void* stream;
};

// Rewrites the RTP header at the start of `packet` (12 bytes, RFC 3550 5.1) as a pkq_packet_record in place;
// `size` counts header and payload. The last argument is ignored.
QLIP_API void rtp2pkq(void* packet, int size, int type, int ignored);

// Makes the 20 bytes of a wld_packet_record at `out` from the pkq_packet_record at `in`.
QLIP_API void wld_put_header_pkq2wld(unsigned char* in, unsigned char* out, int type);

// Prepares `native` for a track; zero a new record first. A payload holds `packet_size` - 12 bytes. Returns
// 0, also for codecs that get no packetiser (AAC, H.264, AMR-WB, AMR-WB+), for which `packetise` stays what
// it was, or -1 for any other.
QLIP_API int pkq_native_init(pkq_native* native, int type, int packet_size, int rfc_mode, iso_track* track,
                             int flags);

// Calls `packetise`. -1 without one.
QLIP_API int pkq_native_packet(void* out, int out_size, void* in, int in_size, double seconds,
                               pkq_native* native);

// As wld_amr_packet and wld_video_packet (without payload headers), with records of this family and the type
// given to pkq_native_init.
QLIP_API int pkq_amr_packet(void* out, int out_size, void* in, int in_size, double seconds,
                            pkq_native* native);
QLIP_API int pkq_video_packet(void* out, int out_size, void* in, int in_size, double seconds,
                              pkq_native* native);

// Writes the 12 bytes of a pkq_packet_record, and moves the sequence number on. Returns 12.
QLIP_API int pkq_put_header(void* out, PKQ_RTP* rtp);

// Reads the next header from a stored stream into `rtp`. Returns 0 when there is none, else 1, also for a
// header that fails the checks chosen by `flags`; what fails is told on stderr.
QLIP_API int pkq_get_header(mfileio* stream, PKQ_RTP* rtp);

// Prints a header to stderr.
QLIP_API void print_pkq_header(PKQ_RTP* rtp);

// Estimates the bytes of a whole stream of this family. `rate` is a packet size in bytes above 100, otherwise
// a number of packets per sample, at least 10.
QLIP_API int pkq_buffer_estimate(iso_track* track, int rfc_mode, double rate);

// Does nothing.
QLIP_API void pkq_remove_amr_dtx(void* buffer, int size, int flags);
