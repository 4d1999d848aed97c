// H.263 pictures at the edge between the walker of h263_parse.h, ISO files and RTP: a quick look at a
// picture's header, an H.263 track in a file that is being written, and RFC 2190 fragments.
#pragma once

#include "qlip/export.h"
#include "qlip/h263_parse.h"
#include "qlip/isoff.h"

// Configuration of a picture and of the track that it goes to.
struct H263VCFG {
    int unused[3];
    int height, width;   // luminance, pixels
    int timescale;       // units per second
    int tr;              // temporal reference
    int profile, level;  // of the decoder configuration (3GPP TS 26.244 6.8)
    int plusptype;       // 1: the header carries PLUSPTYPE
    int source_format;   // left alone by a picture that does not tell it
    int frame_type;      // 0 intra, 1 inter
};

// Looks for the first picture start code on the byte grid whose picture is sub-QCIF, QCIF or CIF, or does not
// tell its format (UFEP 0, taken for QCIF), and fills `config` from it: width, height, tr, plusptype,
// source_format and frame_type. Returns its byte offset, or -1 if there is none; `config` may then hold
// fields of pictures that were passed over. The last 5 bytes are not searched. `data` is only read.
QLIP_API int h263_get_config(void* data, int size, H263VCFG* config);

// frame_type of the first picture that h263_get_config finds, or -1.
QLIP_API int h263_get_frame_type(void* data, int size);

// Adds an H.263 track to a file that is being written, from width, height, timescale, profile and level of
// `config`. Returns the track, which belongs to the file, or null for null arguments or no memory.
QLIP_API iso_track* h263_isoFFtrack(iso_file* file, H263VCFG* config);

// Steps over the macroblock at *in, and over the picture header at (0, 0) or a segment header that stands
// there. Pass one record as `in` and `out`. Returns 0; 1 if the macroblock runs past the end of the data; -1
// if a header does, or if fewer than 16 bits are left to look for one. There is no end-of-picture condition:
// the caller stops where it has what it needs, and two bytes FF FF behind a picture let its last macroblocks
// be walked.
QLIP_API int get_start_of_mb(tbq_state_t* state, unsigned char* buf, int size, tbq_pos_t* in, tbq_pos_t* out);

// Writes the 8 bytes of a Mode B payload header (RFC 2190 5.2) for the bits from *start to *end: SRC and I
// from the picture in `state`, QUANT and GOBN from `gob`, MBA and the motion vector predictors from `mb`.
// QUANT is 0 in a picture's first group, which has no header; U, S and A are 0.
QLIP_API void put_rfc2190_B(unsigned char* header, tbq_state_t* state, tbq_gob_info_t* gob, tbq_mb_info_t* mb,
                            tbq_pos_t* start, tbq_pos_t* end);
