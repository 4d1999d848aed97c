#include "h263/code_words.h"

using namespace qlip;

void tbq_mcbpc_p_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                       tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_mcbpc(kMcbpcPLookup, *state, bits); });
}

void tbq_mcbpc_i_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                       tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_mcbpc(kMcbpcILookup, *state, bits); });
}

void tbq_cbpy_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                    tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_cbpy(*state, bits); });
}

unsigned int tbq_mvd_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                           tbq_pos_t* out, int* err) {
    unsigned int row = 0;
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { row = read_mvd(*state, bits); });
    return row;
}

unsigned int tbq_tcoef_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                             tbq_pos_t* out, int* err) {
    unsigned int row = kNoCoefficient;
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { row = read_tcoef(*state, bits); });
    return row;
}
