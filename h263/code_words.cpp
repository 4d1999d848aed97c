#include "h263/code_words.h"

void tbq_mcbpc_p_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                       tbq_pos_t* out, int* err) {
    qlip::with_reader(buf, size, in, out, err,
                      [&](qlip::BitReader& bits) { qlip::read_mcbpc(qlip::kMcbpcPLookup, *state, bits); });
}

void tbq_mcbpc_i_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                       tbq_pos_t* out, int* err) {
    qlip::with_reader(buf, size, in, out, err,
                      [&](qlip::BitReader& bits) { qlip::read_mcbpc(qlip::kMcbpcILookup, *state, bits); });
}

void tbq_cbpy_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                    tbq_pos_t* out, int* err) {
    qlip::with_reader(buf, size, in, out, err, [&](qlip::BitReader& bits) { qlip::read_cbpy(*state, bits); });
}

unsigned int tbq_mvd_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                           tbq_pos_t* out, int* err) {
    unsigned int row = 0;
    qlip::with_reader(buf, size, in, out, err,
                      [&](qlip::BitReader& bits) { row = qlip::read_mvd(*state, bits); });
    return row;
}

unsigned int tbq_tcoef_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                             tbq_pos_t* out, int* err) {
    unsigned int row = qlip::kNoCoefficient;
    qlip::with_reader(buf, size, in, out, err,
                      [&](qlip::BitReader& bits) { row = qlip::read_tcoef(*state, bits); });
    return row;
}
