// Code words by table lookup, inline for the walk over macroblocks.
#pragma once

#include <optional>

#include "h263/vlc_tables.h"
#include "h263/walk.h"

namespace qlip {

inline constexpr unsigned int kNoCoefficient = static_cast<unsigned int>(-1);
inline constexpr unsigned int kIntra = 3;
inline constexpr unsigned int kIntraQ = 4;

template <unsigned kWidth>
struct Lookup {
    const tbq_xvlc_table<kWidth>& filled;
    const tbq_xvlc_table<kWidth>& sparse;
    tbq_err_num_t no_match;
};

inline constexpr Lookup<13> kMcbpcPLookup{vlc::filled_mcbpc_p, tbq_xvlc_mcbpc_p, TBQ_ERR_MCBPC_P};
inline constexpr Lookup<9> kMcbpcILookup{vlc::filled_mcbpc_i, tbq_xvlc_mcbpc_i, TBQ_ERR_MCBPC_I};
inline constexpr Lookup<6> kCbpyLookup{vlc::filled_cbpy, tbq_xvlc_cbpy, TBQ_ERR_CBPY};
inline constexpr Lookup<13> kMvdLookup{vlc::filled_mvd, tbq_xvlc_mvd, TBQ_ERR_MVD};
inline constexpr Lookup<13> kTcoefLookup{vlc::filled_tcoef, tbq_xvlc_tcoef, TBQ_ERR_TCOEF};

// Inlined so that the reader of the loop over coefficients stays in registers (a third faster).
//
// Nothing if the data had ended before or no word matches. A word that the data's end cuts off still yields
// what the sparse table has for the bits that are there, as a search bit by bit does.
template <unsigned kWidth>
[[gnu::always_inline]] inline std::optional<unsigned int> read_code(const Lookup<kWidth>& lookup,
                                                                    tbq_state_t& state, BitReader& bits) {
    if (bits.failed()) return std::nullopt;
    const uint32_t index = bits.window() >> (32 - kWidth);
    const tbq_xvlc_entry entry = lookup.filled[index];
    const unsigned left = bits.window_bits();
    if (entry.length != 0 && entry.length <= left) {
        bits.pass(entry.length);
        return entry.value;
    }
    if (left < kWidth) {
        bits.fail();
        return lookup.sparse[index].value;
    }
    bits.pass(kWidth);
    diagnose(state, lookup.no_match, bits, kWidth);
    return std::nullopt;
}

template <unsigned kWidth>
void read_mcbpc(const Lookup<kWidth>& lookup, tbq_state_t& state, BitReader& bits) {
    if (const auto value = read_code(lookup, state, bits)) {
        state.mb.mb_type = *value / 4;
        state.mb.cbpc = *value % 4;
    }
}

inline void read_cbpy(tbq_state_t& state, BitReader& bits) {
    if (const auto value = read_code(kCbpyLookup, state, bits)) {
        const bool intra = state.mb.mb_type == kIntra || state.mb.mb_type == kIntraQ;
        state.mb.cbpy = intra ? *value : 15 - *value;
    }
}

inline unsigned int read_mvd(tbq_state_t& state, BitReader& bits) {
    return read_code(kMvdLookup, state, bits).value_or(0);
}

inline unsigned int read_tcoef(tbq_state_t& state, BitReader& bits) {
    return read_code(kTcoefLookup, state, bits).value_or(kNoCoefficient);
}

}  // namespace qlip
