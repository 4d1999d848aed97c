// The walker's operations on a shared reader, for operations that contain others.
#pragma once

#include "h263/bit_reader.h"

namespace qlip {

void read_mcbpc(tbq_state_t& state, BitReader& bits);
void read_cbpy(tbq_state_t& state, BitReader& bits);
unsigned int read_mvd(tbq_state_t& state, BitReader& bits);
unsigned int read_tcoef(tbq_state_t& state, BitReader& bits);

// Tells of the field of `width` bits that was just read.
inline void diagnose(tbq_state_t& state, tbq_err_num_t number, const BitReader& bits, int width) {
    tbq_err_print(&state, number, &bits.position(), -width);
}

// A byte position as prints show it.
inline unsigned int printed_byte(const tbq_state_t& state, const tbq_pos_t& pos) {
    return static_cast<unsigned int>(state.base_offset + pos.byte);
}

}  // namespace qlip
