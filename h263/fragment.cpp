// Steps from macroblock to macroblock of a picture, and the payload header for a cut between two of them.
#include <algorithm>

#include "h263/bit_reader.h"
#include "h263/start_code.h"
#include "qlip/h263_isoff.h"

using namespace qlip;

namespace {

bool at_picture_start(const tbq_pos_t& pos) {
    return pos.byte == 0 && pos.bit == 0;
}

// A segment header, if one stands here. False if the data ends first.
bool step_over_segment_header(tbq_state_t* state, unsigned char* buf, unsigned long size, tbq_pos_t* in) {
    int err = 0;
    const uint32_t ahead = BitReader(buf, size, *in, err).get(kStartCodeZeros);
    if (err == 0 && ahead == 0) tbq_segment_header_parse(state, buf, size, in, in, &err);
    return err == 0;
}

bool step_over_picture_header(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                              tbq_pos_t* out) {
    int err = 0;
    state->picture_flag_1 = 0;
    state->picture_flag_2 = 0;
    state->trace = 0;
    tbq_picture_header_parse(state, buf, size, in, out, &err);
    if (err != 0) return false;
    state->picture.first_segment = 0;
    return true;
}

// A motion vector as the payload header carries it: half pixels, 7 bits, two's complement.
unsigned int vector_field(unsigned int row) {
    return (row - 32) & 0x7F;
}

}  // namespace

int get_start_of_mb(tbq_state_t* state, unsigned char* buf, int size, tbq_pos_t* in, tbq_pos_t* out) {
    const auto bytes = static_cast<unsigned long>(std::max(size, 0));
    const bool stepped = at_picture_start(*in) ? step_over_picture_header(state, buf, bytes, in, out)
                                               : step_over_segment_header(state, buf, bytes, in);
    if (!stepped) return -1;
    int err = 0;
    tbq_mb_parse(state, buf, bytes, in, out, &err);
    return err;
}

//  0                   1                   2                   3                  (RFC 2190 5.2)
//  0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1
// |F|P|SBIT |EBIT | SRC | QUANT   |  GOBN   |   MBA           |R  |
// |I|U|S|A| HMV1        | VMV1        | HMV2        | VMV2        |
void put_rfc2190_B(unsigned char* header, tbq_state_t* state, tbq_gob_info_t* gob, tbq_mb_info_t* mb,
                   tbq_pos_t* start, tbq_pos_t* end) {
    constexpr unsigned int kModeB = 0x80;  // F set, P clear
    const tbq_picture_info_t& picture = state->picture;
    const unsigned int sbit = start->bit & 7;
    const unsigned int ebit = (8 - end->bit) & 7;
    const unsigned int hmv1 = vector_field(mb->hmvd), vmv1 = vector_field(mb->vmvd);
    const unsigned int hmv2 = vector_field(mb->hmvd3), vmv2 = vector_field(mb->vmvd3);
    const unsigned int fields[] = {
        kModeB | sbit << 3 | ebit,
        picture.source_format << 5 | (gob->gquant & 0x1F),
        gob->group_number << 3 | (mb->mb_number >> 6 & 7),
        mb->mb_number << 2,
        picture.coding_type << 7 | hmv1 >> 3,
        hmv1 << 5 | vmv1 >> 2,
        vmv1 << 6 | hmv2 >> 1,
        hmv2 << 7 | vmv2,
    };
    for (const unsigned int field : fields)
        *header++ = static_cast<unsigned char>(field);
}
