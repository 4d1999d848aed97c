// The packetisers: media samples in, packet records of the native stream out (native_stream.h), with sequence
// numbers, timestamps and markers as RTP (RFC 3550) has them.
//
// One wld_native belongs to one stream. Nothing is allocated; a packetiser writes into the caller's buffer
// and never beyond the size that it is told.
#pragma once

#include <cstddef>

#include "qlip/export.h"

struct iso_track;
struct wld_native;

// Payload types of the packet records.
enum wld_payload_type : int {
    WLD_TYPE_H263 = 34,
    WLD_TYPE_AMR = 101,
    WLD_TYPE_MPEG4 = 102,
    WLD_TYPE_H264 = 103
};

// Payload header forms for H.263.
enum wld_rfc_mode : int {
    WLD_RFC_NONE = 0,
    WLD_RFC_2429 = 2429,       // RFC 2429 (now RFC 4629)
    WLD_RFC_2190 = 2190,       // RFC 2190 mode A
    WLD_RFC_2190_B = 0x8088E,  // RFC 2190, cut at macroblock boundaries into mode B packets
};

// Bits of `flags`.
inline constexpr unsigned int WLD_FLAG_DROP_NO_DATA = 1u << 0;  // leave AMR no-data frames out
inline constexpr unsigned int WLD_FLAG_AMR_STORAGE = 1u << 1;   // AMR-NB input is of format 1, else of 2
inline constexpr unsigned int WLD_FLAG_VERBOSE = 1u << 31;  // tell on stderr about cuts and frames left out

// Results below 0.
inline constexpr int WLD_FAILED = -1;       // no room; part of the frame may have been written
inline constexpr int WLD_BAD_PICTURE = -2;  // RFC 2190 only: no picture header found, nothing written

// Fills `out` with the packet records of one sample. `out_size` and `in_size` are bytes, `seconds` the
// sample's duration, by which video timestamps advance. Returns the bytes written, or a result below 0.
typedef int (*wld_packetiser)(void* out, int out_size, void* in, int in_size, double seconds,
                              wld_native* native);

// Running header state.
struct WLD_RTP {
    unsigned int first;         // not used
    unsigned int payload_size;  // of the record to be written
    unsigned int magic;         // 13
    unsigned int marker;
    unsigned int payload_type;  // as given to wld_native_init; the packetisers use their own
    unsigned int sequence;      // next sequence number, 0 to 65,535
    unsigned int timestamp;     // of the frame in hand
};

// State of a packetiser.
struct wld_native {
    int codec;                  // iso_codec
    unsigned int packet_count;  // video records written; the caller clears it
    WLD_RTP rtp;
    unsigned int rfc_mode;  // wld_rfc_mode
    unsigned int flags;     // WLD_FLAG_*
    int clock_rate;         // timestamp units per second
    unsigned char* dsi;     // H.264: the track's parameter sets, each behind its length
    unsigned int dsi_size;
    double time_accumulator;  // next timestamp, unrounded
    int max_payload;          // largest payload of a record
    unsigned int last_source_format;
    unsigned int nal_length_size;  // bytes of the length in front of each NAL unit
    unsigned int unused;
    wld_packetiser packetise;  // null: none
};

static_assert(sizeof(WLD_RTP) == 28);
static_assert(offsetof(wld_native, rfc_mode) == 36 && offsetof(wld_native, clock_rate) == 44);

// Prepares `native` for a track; zero a new record first. The packet size counts for H.264 alone; the others
// have 1400 bytes. Returns 0, also for AAC and AMR-WB+, for which `packetise` stays what it was, or -1 for
// any other codec.
QLIP_API int wld_native_init(wld_native* native, int payload_type, int packet_size, int rfc_mode,
                             iso_track* track, int flags);

// Calls `packetise`. -1 without one.
QLIP_API int wld_native_packet(void* out, int out_size, void* in, int in_size, double seconds,
                               wld_native* native);

// Splits AMR input into one record per speech frame, 20 ms apart, of payload type WLD_TYPE_AMR. -1 when
// `in_size` + 12 is above `out_size`, or when the records do not fit.
QLIP_API int wld_amr_packet(void* out, int out_size, void* in, int in_size, double seconds,
                            wld_native* native);

// Cuts an H.263 picture or MPEG-4 visual frame (RFC 3016) into records, in front of start codes where it can.
QLIP_API int wld_video_packet(void* out, int out_size, void* in, int in_size, double seconds,
                              wld_native* native);

// Turns an H.264 sample (ISO/IEC 14496-15) into single NAL unit packets and FU-A fragments (RFC 3984 5.6,
// 5.8), with the parameter sets in front of an IDR picture that does not bring its own. The marker is set on
// the last fragment of every fragmented NAL unit, not only at the end of the sample. Each fragment is charged
// 4 bytes too few to `out_size`, and the parameter sets nothing: `out` holds that much more.
QLIP_API int wld_rfc3984_packet(void* out, int out_size, void* in, int in_size, double seconds,
                                wld_native* native);

// Writes the 20 bytes of a wld_packet_record for `rtp`, and moves its sequence number on. Returns 20.
QLIP_API int wld_put_header(void* out, WLD_RTP* rtp, int payload_type);

// Writes one record per stored parameter set. `out` has no size: it must hold `dsi_size` bytes and 20 for
// each set. Returns the bytes written.
QLIP_API int wld_h264_packetise_dsi(unsigned char* out, wld_native* native);

// The same for a hint track that is being played, at most `sps_count` + `pps_count` records: numbers them so
// that they stand in front of its next packet, or of the packet built last once playback runs, and moves the
// numbers of the packets to come up by that count. `out` must hold `parameter_sets_size` bytes and 20 for
// each set; `*length` receives the bytes written. Returns 0.
QLIP_API int isoFFgetAvccDsi(iso_track* hint, iso_track* media, int payload_type, unsigned char* out,
                             int* length);

// The big-endian length in front of a NAL unit: 1, 2 or 3 bytes for these values of `prefix_size`, else 4.
QLIP_API unsigned int h264_get_nal_size(unsigned char* data, int prefix_size);
