// Positions, bits and the diagnostic call.
#include "common/diagnostics.h"
#include "h263/bit_reader.h"

using namespace qlip;

void tbq_pos_add(const tbq_pos_t* in, tbq_pos_t* out, unsigned long bits) {
    *out = advanced(*in, bits);
}

int tbq_pos_eq(const tbq_pos_t* first, const tbq_pos_t* second) {
    return first->byte == second->byte && first->bit == second->bit ? 1 : 0;
}

unsigned long tbq_bits_get(unsigned char* buf, unsigned long size, const tbq_pos_t* in, tbq_pos_t* out,
                           unsigned long count, int* err) {
    unsigned long value = 0;
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { value = bits.get(count); });
    return value;
}

void tbq_err_print(tbq_state_t* state, tbq_err_num_t number, const tbq_pos_t* /*pos*/, int /*bit_offset*/) {
    if (state->verbose != 0) myfprintf(stderr, "h263 parse error %d\n", number);
}
