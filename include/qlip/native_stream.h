// The records of the native stream, and the writers that fill them.
//
// The stream is a file-level header of fixed records, then one group of records per audio or video frame.
// Records follow each other without gaps; all fields are in the byte order of the machine (little-endian).
// Lengths, chunk order and an annotated dump are in docs/native-stream.md.
//
// Each writer fills the record that it is given and returns nothing unless it says otherwise. `record` must
// point to a whole record; it needs no particular alignment.
//
// The records compile as C99 and as C++17, the writers as C++ only.
#pragma once

#include <stddef.h>

#include "qlip/export.h"

// Configuration bytes that a codec record holds.
enum { WLD_CONFIG_CAPACITY = 350 };

// ---- File-level header

// Always the first record.
typedef struct PROP_Header_Info {
    char type[8];              // "AUDIO   " or "VIDEO   "
    unsigned int header_size;  // bytes of the whole file-level header, this record included
    unsigned int version;      // 10
    unsigned int padding;
    unsigned int frame_count;
} PROP_Header_Info;

// The values stand for the codec, not for the modes that the file really uses.
typedef struct AUD_Codec_Header {
    unsigned int size;       // 16
    unsigned int coding;     // AMR rate: 26 to 33 for 4,750 to 12,200 bit/s; 51 for AMR-WB
    unsigned int rate_code;  // sampling rate in units of 125 Hz
    unsigned int bits_per_sample;
} AUD_Codec_Header;

typedef struct AUD_Header_IndxInfo {
    unsigned int words[3];
} AUD_Header_IndxInfo;

typedef struct VID_Header_NTSInfo {
    unsigned int words[2];
} VID_Header_NTSInfo;

typedef struct VID_Header_IndxInfo {
    unsigned int words[2];
} VID_Header_IndxInfo;

// Ends the header, of audio and video alike.
typedef struct VID_FileInfo {
    unsigned int duration_ms;
    unsigned int filler[3];
} VID_FileInfo;

typedef struct VID_Header_CodecInfo {
    char name[8];             // "mp4v", "s263", "s263+" or "s264", zero-padded
    unsigned int frame_rate;  // 0 from the writers below
    unsigned int bit_rate;    // bit/s
    unsigned int width;       // pixels
    unsigned int height;
    unsigned int config_size;  // a constant of the codec, not the size of the record that follows
} VID_Header_CodecInfo;

// ISO/IEC 14496-2 configuration.
typedef struct VID_Header_MPEG4CodecConfig {
    unsigned int profile_level;
    unsigned char config[WLD_CONFIG_CAPACITY];
    unsigned short config_size;  // valid bytes of `config`
} VID_Header_MPEG4CodecConfig;

typedef struct VID_Header_H263CodecConfig {
    unsigned int profile;
    unsigned int level;
} VID_Header_H263CodecConfig;

// ISO/IEC 14496-15 configuration, the avcC payload. The three words hold what their names say, although a
// reader might expect profile, compatibility and level there.
typedef struct VID_Header_H264CodecConfig {
    unsigned int config_byte5;
    unsigned int config_byte6;
    unsigned int config_byte7;
    unsigned char config[WLD_CONFIG_CAPACITY];
    unsigned short config_size;  // bytes of the configuration, which may be more than `config` shows
    unsigned char constant_two;
    unsigned char padding[3];
} VID_Header_H264CodecConfig;

// ---- Frames

// In front of each speech frame; a 32-bit zero follows it in the same chunk.
typedef struct AUD_AudFrame_Native {
    unsigned int size;        // this record, the zero word and the payload
    unsigned int frame_word;  // 10 for AMR-NB, 20 for AMR-WB
    unsigned int timestamp;
    unsigned int timestamp2;
    unsigned short sequence;
    unsigned short reserved;
} AUD_AudFrame_Native;

// In front of each video frame.
typedef struct wld_frame_record {
    unsigned int frame_size;    // this record, the prefix, the packet records and `frame_pad`
    unsigned int packet_count;  // packet records in the frame
    unsigned int frame_pad;     // bytes that round the rest of `frame_size` up to a multiple of 4
} wld_frame_record;

// In front of the packet records of a video frame.
typedef struct wld_frame_prefix {
    unsigned int word_four;
    unsigned int word_one;
} wld_frame_prefix;

// In front of each packet's payload.
typedef struct wld_packet_record {
    unsigned int size;  // this record and the payload
    unsigned int timestamp;
    unsigned int rtp_word;  // first word of an RTP header (RFC 3550 5.1) as a number
    unsigned int timestamp2;
    unsigned int reserved;
} wld_packet_record;

// The older packet header. The one record in network byte order, so its fields are bytes.
typedef struct pkq_packet_record {
    unsigned char first[2];
    unsigned char size[2];      // payload bytes
    unsigned char magic;        // 13
    unsigned char marker_type;  // marker in bit 7, payload type below
    unsigned char sequence[2];
    unsigned char timestamp[4];
} pkq_packet_record;

#ifdef __cplusplus

static_assert(sizeof(PROP_Header_Info) == 24 && offsetof(PROP_Header_Info, frame_count) == 20);
static_assert(sizeof(AUD_Codec_Header) == 16 && offsetof(AUD_Codec_Header, bits_per_sample) == 12);
static_assert(sizeof(AUD_Header_IndxInfo) == 12);
static_assert(sizeof(VID_Header_NTSInfo) == 8);
static_assert(sizeof(VID_Header_IndxInfo) == 8);
static_assert(sizeof(VID_FileInfo) == 16 && offsetof(VID_FileInfo, filler) == 4);
static_assert(sizeof(VID_Header_CodecInfo) == 28 && offsetof(VID_Header_CodecInfo, config_size) == 24);
static_assert(sizeof(VID_Header_MPEG4CodecConfig) == 356);
static_assert(offsetof(VID_Header_MPEG4CodecConfig, config) == 4);
static_assert(offsetof(VID_Header_MPEG4CodecConfig, config_size) == 354);
static_assert(sizeof(VID_Header_H263CodecConfig) == 8);
static_assert(sizeof(VID_Header_H264CodecConfig) == 368);
static_assert(offsetof(VID_Header_H264CodecConfig, config) == 12);
static_assert(offsetof(VID_Header_H264CodecConfig, config_size) == 362);
static_assert(offsetof(VID_Header_H264CodecConfig, constant_two) == 364);
static_assert(sizeof(AUD_AudFrame_Native) == 20 && offsetof(AUD_AudFrame_Native, sequence) == 16);
static_assert(sizeof(wld_frame_record) == 12);
static_assert(sizeof(wld_frame_prefix) == 8);
static_assert(sizeof(wld_packet_record) == 20 && offsetof(wld_packet_record, rtp_word) == 8);
static_assert(sizeof(pkq_packet_record) == 12 && offsetof(pkq_packet_record, timestamp) == 8);

struct iso_track;
struct wld_native;

// ---- Writers: PROP_Header_Info

QLIP_API void wld_put_hdr_aud_prop(PROP_Header_Info* record, int frame_count);      // header of 68 bytes
QLIP_API void wld_put_hdr_vid_prop(PROP_Header_Info* record, int sample_count);     // MPEG-4, 440 bytes
QLIP_API void wld_put_hdr_vid_prop263(PROP_Header_Info* record, int sample_count);  // H.263, 92 bytes
QLIP_API void wld_put_hdr_vid_prop264(PROP_Header_Info* record, int sample_count);  // H.264, 452 bytes

// ---- Writers: audio

// AMR-NB and AMR-WB. The track is ignored and may be null. Both return 0.
QLIP_API int wld_put_hdr_aud_codec(AUD_Codec_Header* record, iso_track* track);
QLIP_API int wld_put_hdr_aud_codec_wb(AUD_Codec_Header* record, iso_track* track);

// The count is ignored.
QLIP_API void wld_put_hdr_aud_index(AUD_Header_IndxInfo* record, int frame_count);

// The record of the next speech frame: `size` is the frame's total in the stream, timestamp and sequence come
// from `native`, which then moves on by one frame of 160 (320) ticks.
QLIP_API void wld_put_hdr_aud_frame(AUD_AudFrame_Native* record, int size, wld_native* native);
QLIP_API void wld_put_hdr_aud_frame_wb(AUD_AudFrame_Native* record, int size, wld_native* native);

// ---- Writers: audio and video

// Two names for the same record; the duration is in seconds.
QLIP_API void wld_put_hdr_fileInfo(VID_FileInfo* record, double duration);
QLIP_API void wld_put_hdr_vid_fileInfo(VID_FileInfo* record, double duration);

// ---- Writers: video

QLIP_API void wld_put_hdr_vid_nts(VID_Header_NTSInfo* record);
QLIP_API void wld_put_hdr_vid_index(VID_Header_IndxInfo* record);

// MPEG-4, H.263, H.264. The frame rate is ignored; width and height are those of the track. H.263 is named
// "s263" when the track's `payload_type` is 34, else "s263+".
QLIP_API void wld_put_hdr_vid_codec(VID_Header_CodecInfo* record, int frame_rate, int bit_rate,
                                    iso_track* track);
QLIP_API void wld_put_hdr_vid_codec263(VID_Header_CodecInfo* record, int frame_rate, int bit_rate,
                                       iso_track* track);
QLIP_API void wld_put_hdr_vid_codec264(VID_Header_CodecInfo* record, int frame_rate, int bit_rate,
                                       iso_track* track);

// The track's decoder configuration, `dsi`: its first WLD_CONFIG_CAPACITY bytes, zero behind them. A null or
// short one reads as zeros. For a configuration of 8 bytes or fewer wld_put_hdr_vid_codecCfg264 leaves
// `config_byte6` as it found it, so clear the record first.
QLIP_API void wld_put_hdr_vid_codecCfg(VID_Header_MPEG4CodecConfig* record, iso_track* track);
QLIP_API void wld_put_hdr_vid_codecCfg263(VID_Header_H263CodecConfig* record, iso_track* track);
QLIP_API void wld_put_hdr_vid_codecCfg264(VID_Header_H264CodecConfig* record, iso_track* track);

#endif
