// Picture, group-of-blocks and slice headers. Only what a macroblock walk or a Mode B header needs is stored;
// everything else is passed over by its width.
#include <iterator>

#include "h263/start_code.h"
#include "h263/walk.h"

using namespace qlip;

namespace {

constexpr unsigned int kExtendedPtype = 7;
constexpr unsigned int kRectangularSlices = 2;  // of SSS

// Reads one bit that announces a mode the walker does not follow.
void report_if_set(tbq_state_t& state, BitReader& bits, tbq_err_num_t number) {
    if (bits.get(1) == 1) diagnose(state, number, bits, 1);
}

// Reads one bit that keeps a run of zeros from looking like a start code.
void expect_emulation_prevention(tbq_state_t& state, BitReader& bits, tbq_err_num_t number) {
    if (bits.get(1) == 0 && !bits.failed()) diagnose(state, number, bits, 1);
}

void report_prediction_modes(tbq_state_t& state, BitReader& bits) {
    report_if_set(state, bits, TBQ_ERR_UNRESTRICTED_MV);
    report_if_set(state, bits, TBQ_ERR_ARITHMETIC_CODING);
    report_if_set(state, bits, TBQ_ERR_ADVANCED_PREDICTION);
}

void read_cpm(tbq_picture_info_t& picture, BitReader& bits) {
    picture.cpm = bits.get(1);
    if (picture.cpm == 1) bits.skip(2);  // PSBI
}

void read_opptype(tbq_state_t& state, BitReader& bits) {
    tbq_picture_info_t& picture = state.picture;
    picture.source_format = bits.get(3);
    picture.pcf = bits.get(1);
    report_prediction_modes(state, bits);
    picture.aic = bits.get(1);
    picture.df = bits.get(1);
    picture.ss = bits.get(1);
    report_if_set(state, bits, TBQ_ERR_REFERENCE_SELECTION);
    report_if_set(state, bits, TBQ_ERR_INDEPENDENT_SEGMENTS);
    report_if_set(state, bits, TBQ_ERR_ALTERNATIVE_INTER_VLC);
    picture.mq = bits.get(1);
    if (bits.get(4) != 8) diagnose(state, TBQ_ERR_OPPTYPE_MARKER, bits, 4);
}

// CPFMT, with EPAR behind it for an extended pixel aspect ratio. The test is for 16CIF (5), not for the
// custom format (6): kept for hosts of the walker [walker-lost-fields].
void skip_custom_format(const tbq_picture_info_t& picture, BitReader& bits) {
    if (picture.source_format != 5 || picture.ufep != 1) return;
    const uint32_t pixel_aspect_ratio = bits.get(4);
    bits.skip(19);
    if (pixel_aspect_ratio == 15) bits.skip(16);
}

// CPCFC and ETR. PCF is one bit and never 5, so these bits are never read: kept for hosts of the walker
// [walker-lost-fields].
void read_custom_clock(tbq_picture_info_t& picture, BitReader& bits) {
    if (picture.pcf != 5 || picture.ufep != 1) return;
    picture.clock_conv_code = bits.get(1);
    picture.clock_divisor = bits.get(7);
    picture.etr = bits.get(2);
}

void read_plusptype(tbq_state_t& state, BitReader& bits) {
    tbq_picture_info_t& picture = state.picture;
    picture.ufep = bits.get(3);
    if (picture.ufep > 1) diagnose(state, TBQ_ERR_UFEP, bits, 3);
    if (picture.ufep == 1) read_opptype(state, bits);
    picture.coding_type = bits.get(3);
    if (picture.coding_type > 1) diagnose(state, TBQ_ERR_PICTURE_TYPE, bits, 3);
    bits.skip(6);  // the rest of MPPTYPE
    read_cpm(picture, bits);
    skip_custom_format(picture, bits);
    read_custom_clock(picture, bits);
    if (picture.ss == 1 && picture.ufep == 1) picture.sss = bits.get(2);
}

void clear_for_picture(tbq_state_t& state) {
    const unsigned int sss = state.picture.sss;
    tbq_picture_info_init(&state.picture);
    state.picture.sss = sss;
    tbq_slice_info_init(&state.slice);
    tbq_gob_info_init(&state.gob);
    tbq_mb_info_init(&state.mb);
}

void skip_supplemental(BitReader& bits) {
    while (bits.get(1) == 1)
        bits.skip(8);  // PEI, PSUPP
}

// PTYPE and what hangs on it, down to CPM.
void read_ptype(tbq_state_t& state, BitReader& bits) {
    tbq_picture_info_t& picture = state.picture;
    const uint32_t marker = bits.get(2);
    if (marker != 2 && !bits.failed()) diagnose(state, TBQ_ERR_PTYPE_MARKER, bits, 2);
    bits.skip(3);  // split screen, document camera, picture freeze release
    picture.source_format = bits.get(3);
    if (picture.source_format == kExtendedPtype) {
        picture.plusptype = 1;
        read_plusptype(state, bits);
        picture.pquant = bits.get(5);
        return;
    }
    picture.coding_type = bits.get(1);
    report_prediction_modes(state, bits);
    report_if_set(state, bits, TBQ_ERR_PB_FRAMES);
    picture.pquant = bits.get(5);
    read_cpm(picture, bits);
}

// A picture that is parsed again counts once.
void count_picture(tbq_state_t& state, const tbq_pos_t& begin) {
    const tbq_pos_t in_stream{begin.byte + state.base_offset, begin.bit};
    if (tbq_pos_eq(&in_stream, &state.last_picture_pos) != 0) return;
    state.last_picture_pos = in_stream;
    ++state.picture_number;
}

void read_picture_header(tbq_state_t& state, BitReader& bits) {
    clear_for_picture(state);
    bits.skip(kPictureCodeBits);
    state.picture.tr = bits.get(8);
    read_ptype(state, bits);
    skip_supplemental(bits);
    if (bits.failed()) return;
    state.picture.valid = 1;
    state.picture.first_segment = 1;
    count_picture(state, bits.start());
    if (state.verbose != 0) tbq_picture_info_print(&state, &bits.start());
}

void read_gob_header(tbq_state_t& state, BitReader& bits) {
    tbq_gob_info_init(&state.gob);
    tbq_mb_info_init(&state.mb);
    bits.skip(kGroupCodeBits);
    state.gob.group_number = bits.get(5);
    if (state.picture.cpm == 1) bits.skip(2);  // GSBI
    state.gob.gob_frame_id = bits.get(2);
    state.gob.gquant = bits.get(5);
    if (bits.failed()) return;
    state.gob.valid = 1;
    state.picture.first_segment = 0;
    if (state.verbose != 0) tbq_gob_info_print(&state, &bits.start());
}

// Macroblock addresses grow with the format (ITU-T H.263 Table K.2); 14 where the format tells none.
unsigned int address_width(unsigned int source_format) {
    constexpr unsigned int kWidths[] = {14, 6, 7, 9, 11, 13};
    return source_format < std::size(kWidths) ? kWidths[source_format] : 14;
}

bool has_address_width(unsigned int source_format) {
    return source_format >= 1 && source_format <= 5;
}

// Slice widths (ITU-T H.263 Table K.1).
unsigned int slice_width_bits(unsigned int source_format) {
    constexpr unsigned int kWidths[] = {7, 4, 4, 5, 6};
    return source_format < std::size(kWidths) ? kWidths[source_format] : 7;
}

// MBA, and the emulation prevention bit that can follow it.
void skip_slice_address(tbq_state_t& state, BitReader& bits, bool rectangular) {
    const tbq_picture_info_t& picture = state.picture;
    const unsigned int width = address_width(picture.source_format);
    if (!has_address_width(picture.source_format)) diagnose(state, TBQ_ERR_SLICE_ADDRESS, bits, 0);
    bits.skip(width);
    const bool guarded = picture.first_segment == 1 ? rectangular : width > (picture.cpm == 1 ? 9U : 11U);
    if (guarded) expect_emulation_prevention(state, bits, TBQ_ERR_SLICE_EMULATION_2);
}

// The fields of a slice that the picture header itself opens are fewer.
void read_slice_header(tbq_state_t& state, BitReader& bits) {
    tbq_slice_info_init(&state.slice);
    tbq_mb_info_init(&state.mb);
    const bool first = state.picture.first_segment == 1;
    const bool rectangular = (state.picture.sss & kRectangularSlices) != 0;
    if (!first) {
        while (bits.get(1) == 1)
            continue;
    }
    expect_emulation_prevention(state, bits, TBQ_ERR_SLICE_EMULATION_1);
    if (!first && state.picture.cpm == 1) bits.skip(4);  // SSBI
    skip_slice_address(state, bits, rectangular);
    if (!first) state.slice.squant = bits.get(5);
    if (rectangular) bits.skip(slice_width_bits(state.picture.source_format));
    expect_emulation_prevention(state, bits, TBQ_ERR_SLICE_EMULATION_3);
    if (bits.failed()) return;
    state.slice.valid = 1;
    state.picture.first_segment = 0;
    if (state.verbose != 0) tbq_slice_info_print(&state, &bits.start());
}

}  // namespace

void tbq_picture_info_init(tbq_picture_info_t* info) {
    *info = {};
}

void tbq_gob_info_init(tbq_gob_info_t* info) {
    *info = {};
}

void tbq_slice_info_init(tbq_slice_info_t* info) {
    *info = {};
}

void tbq_mb_info_init(tbq_mb_info_t* info) {
    *info = {};
}

void tbq_picture_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                              tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_picture_header(*state, bits); });
}

void tbq_plusptype_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                         tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_plusptype(*state, bits); });
}

void tbq_gob_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                          tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_gob_header(*state, bits); });
}

void tbq_slice_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                            tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_slice_header(*state, bits); });
}

void tbq_segment_header_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                              tbq_pos_t* out, int* err) {
    if (state->picture.ss != 0) {
        tbq_slice_header_parse(state, buf, size, in, out, err);
    } else if (state->picture.first_segment == 0) {
        tbq_gob_header_parse(state, buf, size, in, out, err);
    }
}
