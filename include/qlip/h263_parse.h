// A walker over one H.263 picture (ITU-T H.263) held in memory. It decodes nothing: it learns where
// macroblocks, segment headers and start codes lie, and which header values hold there, so that a picture can
// be cut between macroblocks (RFC 2190).
//
// Calling shape. Most operations take (state, buf, size, in, out, err): the walker's state, the data and its
// number of bytes, where to start, where the operation ended, and the error flag. `in` and `out` may be one
// record. No pointer is stored, and the data is only read.
//
// Errors. *err is sticky: running out of data sets it to 1, only the caller clears it, and while it is set an
// operation reads nothing and leaves *out equal to *in. A field with a forbidden or unsupported value does
// not set it: tbq_err_print tells of it and the walk goes on as far as the bits allow.
#pragma once

#include "qlip/export.h"

// A position in the data: `byte` from 0, and within it `bit` 0 (most significant) to 7. (size, 0) is the end.
struct tbq_pos_t {
    unsigned long byte;
    unsigned int bit;
};

// What tbq_err_print can tell of. Only the numbers are ever printed; 21 is free.
enum tbq_err_num_t {
    TBQ_ERR_PTYPE_MARKER = 1,           // PTYPE does not open with binary 10
    TBQ_ERR_UNRESTRICTED_MV = 2,        // Unrestricted Motion Vector mode
    TBQ_ERR_ARITHMETIC_CODING = 3,      // Syntax-based Arithmetic Coding mode
    TBQ_ERR_ADVANCED_PREDICTION = 4,    // Advanced Prediction mode
    TBQ_ERR_PB_FRAMES = 5,              // PB-frames mode
    TBQ_ERR_REFERENCE_SELECTION = 6,    // Reference Picture Selection mode
    TBQ_ERR_INDEPENDENT_SEGMENTS = 7,   // Independent Segment Decoding mode
    TBQ_ERR_ALTERNATIVE_INTER_VLC = 8,  // Alternative INTER VLC mode
    TBQ_ERR_OPPTYPE_MARKER = 9,         // OPPTYPE does not end in binary 1000
    TBQ_ERR_PICTURE_TYPE = 10,          // picture type code above 1
    TBQ_ERR_UFEP = 11,                  // UFEP neither 0 nor 1
    TBQ_ERR_MCBPC_I = 12,               // no MCBPC code word, I-picture
    TBQ_ERR_MCBPC_P = 13,               // no MCBPC code word, P-picture
    TBQ_ERR_CBPY = 14,                  // no CBPY code word
    TBQ_ERR_MVD = 15,                   // no MVD code word
    TBQ_ERR_TCOEF = 16,                 // no TCOEF code word
    TBQ_ERR_SLICE_EMULATION_1 = 17,     // slice emulation prevention bit is 0: the first,
    TBQ_ERR_SLICE_EMULATION_2 = 18,     // the second,
    TBQ_ERR_SLICE_EMULATION_3 = 19,     // the third
    TBQ_ERR_SLICE_ADDRESS = 20,         // the source format gives no macroblock address width
    TBQ_ERR_UNALIGNED_PICTURE = 22,     // picture start code off the byte grid
    TBQ_ERR_UNALIGNED_SLICE = 23        // start code off the byte grid in Slice Structured mode
};

// Kinds of boundary that tbq_boundary_next finds.
enum tbq_boundary_t {
    TBQ_BOUNDARY_NONE = 0,     // none; *err is set
    TBQ_BOUNDARY_PICTURE = 1,  // picture start code on the byte grid
    TBQ_BOUNDARY_SEGMENT = 2   // start code of a group of blocks or a slice, on or off the byte grid
};

// Picture header (ITU-T H.263 5.1). Flags are 0 or 1 as read.
struct tbq_picture_info_t {
    unsigned int valid;          // a header was parsed to its end
    unsigned int first_segment;  // the next segment is the one that the picture header itself opens
    unsigned int tr;             // temporal reference, 8 bits
    unsigned int coding_type;    // 0 I-picture, 1 P-picture
    unsigned int source_format;  // of PTYPE, or of OPPTYPE where UFEP is 1
    unsigned int pquant;         // PQUANT, 1 to 31
    unsigned int cpm;            // Continuous Presence Multipoint and Video Multiplex
    unsigned int pei;            // always 0: PEI and PSUPP are passed over
    unsigned int plusptype;      // the header carries PLUSPTYPE
    unsigned int ufep;           // 3 bits
    unsigned int pcf;            // custom picture clock frequency
    unsigned int aic;            // Advanced INTRA Coding
    unsigned int df;             // Deblocking Filter
    unsigned int ss;             // Slice Structured
    unsigned int sss;            // 2 bits; bit 1 selects rectangular slices. Survives from picture to picture
    unsigned int mq;             // Modified Quantization
    unsigned int clock_conv_code;  // the custom clock is not read: this and the next two stay 0
    unsigned int clock_divisor;
    unsigned int etr;
};

// Group of blocks (ITU-T H.263 5.2), and the count of macroblocks since its header or the picture's.
struct tbq_gob_info_t {
    unsigned int valid;
    unsigned int group_number;  // GN, 5 bits
    unsigned int gob_frame_id;  // GFID, 2 bits
    unsigned int gquant;        // GQUANT, 5 bits
    unsigned int mb_count;      // number of the next macroblock
    tbq_pos_t last_mb_pos;      // position behind the macroblock counted last
};

// Slice header (ITU-T H.263 Annex K).
struct tbq_slice_info_t {
    unsigned int valid;
    unsigned int squant;  // SQUANT, 5 bits
};

// Macroblock (ITU-T H.263 5.3).
struct tbq_mb_info_t {
    unsigned int valid;
    unsigned int cod;      // 1: not coded
    unsigned int mb_type;  // 0 INTER, 1 INTER+Q, 2 INTER4V, 3 INTRA, 4 INTRA+Q, 5 INTER4V+Q, 63 stuffing
    unsigned int cbpc;     // 2 bits
    unsigned int cbpy;     // 4 bits
    unsigned int hmvd;     // row of the MVD table, 32 being no difference: first vector, horizontal,
    unsigned int vmvd;     // vertical,
    unsigned int hmvd3;    // third vector, horizontal,
    unsigned int vmvd3;    // vertical
    unsigned int tcoef_count;
    unsigned int mb_number;  // within the group of blocks or the picture, from 0
};

// State of the walker. It has no constructor: start from an all-zero record.
struct tbq_state_t {
    tbq_picture_info_t picture;
    tbq_gob_info_t gob;
    tbq_slice_info_t slice;
    tbq_mb_info_t mb;
    unsigned long base_offset;    // bytes of the stream ahead of `buf`, added to printed positions
    unsigned int picture_number;  // distinct pictures so far
    tbq_pos_t last_picture_pos;   // where in the stream the picture counted last begins
    int picture_flag_1;           // get_start_of_mb clears both at a picture start; nothing reads them
    int picture_flag_2;
    unsigned int verbose;  // non-zero: print headers and macroblocks to standard output, and diagnostics
    unsigned int trace;    // non-zero: print boundaries and block layers as well
};

// ---- Positions and bits

// *out = *in + `bits`. Arithmetic only, no bound is checked.
QLIP_API void tbq_pos_add(const tbq_pos_t* in, tbq_pos_t* out, unsigned long bits);

// 1 if the positions are equal, else 0.
QLIP_API int tbq_pos_eq(const tbq_pos_t* first, const tbq_pos_t* second);

// Reads `count` bits, the first being the most significant of the result; of more than 32 the last 32
// count. A read may end at the end of the data, not beyond: then *err becomes 1, the result is 0 and *out is
// *in.
QLIP_API unsigned long tbq_bits_get(unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                                    tbq_pos_t* out, unsigned long count, int* err);

// Prints "h263 parse error <number>" to standard output if state->verbose is set. `pos` is the position
// behind the offending field and `bit_offset` minus the field's width; they are not printed.
QLIP_API void tbq_err_print(tbq_state_t* state, tbq_err_num_t number, const tbq_pos_t* pos, int bit_offset);

// ---- Code words
// One code word each. A word that is in no table is passed over at the table's full width (13 bits, MCBPC in
// I-pictures 9, CBPY 6) with a diagnostic, and stores nothing. Where the data ends within a word, what is
// stored or returned has no meaning; look at *err first.

// MCBPC (ITU-T H.263 Tables 8 and 7) into mb_type and cbpc of state->mb.
QLIP_API void tbq_mcbpc_p_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                const tbq_pos_t* in, tbq_pos_t* out, int* err);
QLIP_API void tbq_mcbpc_i_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                const tbq_pos_t* in, tbq_pos_t* out, int* err);

// CBPY (Table 13) into cbpy of state->mb, read as intra or inter by the mb_type that stands there.
QLIP_API void tbq_cbpy_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                             tbq_pos_t* out, int* err);

// MVD (Table 14). Returns the row, 0 to 63, 32 being no difference; 0 for no match.
QLIP_API unsigned int tbq_mvd_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                    const tbq_pos_t* in, tbq_pos_t* out, int* err);

// TCOEF without its sign bit (Table 16). Returns the row, 0 to 101, from 58 on the last coefficient of its
// block; 102 for ESCAPE; (unsigned int)-1 for no match.
QLIP_API unsigned int tbq_tcoef_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                      const tbq_pos_t* in, tbq_pos_t* out, int* err);

// ---- Headers

// Picture header, from the picture start code on. Clears all levels of the state but `sss`; counts the
// picture unless its place in the stream is that of the one counted last. The 22 bits of the start code are
// not looked at.
QLIP_API void tbq_picture_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                       const tbq_pos_t* in, tbq_pos_t* out, int* err);

// PLUSPTYPE and the fields that hang on it (5.1.4), from UFEP on. CPFMT is skipped for source format 5, not
// for 6, and custom clock fields are never skipped.
QLIP_API void tbq_plusptype_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                  const tbq_pos_t* in, tbq_pos_t* out, int* err);

// Group of blocks header, from GBSC on.
QLIP_API void tbq_gob_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                   const tbq_pos_t* in, tbq_pos_t* out, int* err);

// Slice header (Annex K), without GFID.
QLIP_API void tbq_slice_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                     const tbq_pos_t* in, tbq_pos_t* out, int* err);

// The slice header in Slice Structured mode; else the group of blocks header, or for the first segment
// nothing, without touching *out: pass one record as `in` and `out`.
QLIP_API void tbq_segment_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                       const tbq_pos_t* in, tbq_pos_t* out, int* err);

// Set the whole record to zero.
QLIP_API void tbq_picture_info_init(tbq_picture_info_t* info);
QLIP_API void tbq_gob_info_init(tbq_gob_info_t* info);
QLIP_API void tbq_slice_info_init(tbq_slice_info_t* info);
QLIP_API void tbq_mb_info_init(tbq_mb_info_t* info);

// Print one level of the state to standard output; `pos` is where the element begins.
QLIP_API void tbq_picture_info_print(tbq_state_t* state, const tbq_pos_t* pos);
QLIP_API void tbq_gob_info_print(tbq_state_t* state, const tbq_pos_t* pos);
QLIP_API void tbq_slice_info_print(tbq_state_t* state, const tbq_pos_t* pos);
QLIP_API void tbq_mb_info_print(tbq_state_t* state, const tbq_pos_t* pos);

// ---- Macroblocks and boundaries

// Steps over one macroblock with its stuffing. A macroblock that ends where the one before ended is the same
// one walked again, and keeps its number. Four-vector macroblocks carry vectors 2 to 4 where `df` is set, and
// DQUANT in Modified Quantization mode is 1 bit where its first bit is 1.
QLIP_API void tbq_mb_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                           tbq_pos_t* out, int* err);

// Steps over the six blocks of the macroblock in state->mb (5.4) and counts its coefficients.
QLIP_API void tbq_block_layer_parse(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                    const tbq_pos_t* in, tbq_pos_t* out, int* err);

// Finds the first start code from *in on; *out becomes the first of the 16 zero bits that open it. A picture
// start code is found on the byte grid only, and in Slice Structured mode every other start code too. To go
// on, call again from behind *out: a call from *out finds the same place. Where the data ends first (also
// within the 6 bits that tell the kinds apart off the byte grid), the result is TBQ_BOUNDARY_NONE, *err 1 and
// *out *in. Runs in linear time.
QLIP_API tbq_boundary_t tbq_boundary_next(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                          const tbq_pos_t* in, tbq_pos_t* out, int* err);

// The empty string for every kind, so that the kind's column in the trace is blank.
QLIP_API const char* tbq_boundary_to_str(tbq_boundary_t kind);
