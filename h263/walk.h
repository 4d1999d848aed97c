// What all levels of the walk share.
#pragma once

#include "h263/bit_reader.h"

namespace qlip {

// Tells of the field of `width` bits that was just read.
inline void diagnose(tbq_state_t& state, tbq_err_num_t number, const BitReader& bits, int width) {
    const tbq_pos_t behind = bits.position();
    tbq_err_print(&state, number, &behind, -width);
}

// A byte position as prints show it.
inline unsigned int printed_byte(const tbq_state_t& state, const tbq_pos_t& pos) {
    return static_cast<unsigned int>(state.base_offset + pos.byte);
}

}  // namespace qlip
