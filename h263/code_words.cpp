// Code words by table lookup.
#include <optional>

#include "h263/vlc_tables.h"
#include "h263/walk.h"

namespace {

using qlip::BitReader;

constexpr unsigned int kNoMatch = static_cast<unsigned int>(-1);
constexpr unsigned int kIntra = 3;
constexpr unsigned int kIntraQ = 4;

template <unsigned kWidth>
struct Lookup {
    const tbq_xvlc_table<kWidth>& filled;
    const tbq_xvlc_table<kWidth>& sparse;
    tbq_err_num_t no_match;
};

constexpr Lookup<13> kMcbpcPLookup{qlip::vlc::filled_mcbpc_p, tbq_xvlc_mcbpc_p, TBQ_ERR_MCBPC_P};
constexpr Lookup<9> kMcbpcILookup{qlip::vlc::filled_mcbpc_i, tbq_xvlc_mcbpc_i, TBQ_ERR_MCBPC_I};
constexpr Lookup<6> kCbpyLookup{qlip::vlc::filled_cbpy, tbq_xvlc_cbpy, TBQ_ERR_CBPY};
constexpr Lookup<13> kMvdLookup{qlip::vlc::filled_mvd, tbq_xvlc_mvd, TBQ_ERR_MVD};
constexpr Lookup<13> kTcoefLookup{qlip::vlc::filled_tcoef, tbq_xvlc_tcoef, TBQ_ERR_TCOEF};

// Nothing if the data had ended before or no word matches. A word that the data's end cuts off still yields
// what the sparse table has for the bits that are there, as a search bit by bit does.
template <unsigned kWidth>
std::optional<unsigned int> read_code(const Lookup<kWidth>& lookup, tbq_state_t& state, BitReader& bits) {
    if (bits.failed()) return std::nullopt;
    const uint32_t index = bits.window() >> (32 - kWidth);
    const tbq_xvlc_entry entry = lookup.filled[index];
    const unsigned left = bits.window_bits();
    if (entry.length != 0 && entry.length <= left) {
        bits.skip(entry.length);
        return entry.value;
    }
    if (left < kWidth) {
        bits.fail();
        return lookup.sparse[index].value;
    }
    bits.skip(kWidth);
    diagnose(state, lookup.no_match, bits, kWidth);
    return std::nullopt;
}

template <unsigned kWidth>
void read_mcbpc_from(const Lookup<kWidth>& lookup, tbq_state_t& state, BitReader& bits) {
    if (const auto value = read_code(lookup, state, bits)) {
        state.mb.mb_type = *value / 4;
        state.mb.cbpc = *value % 4;
    }
}

}  // namespace

namespace qlip {

void read_mcbpc(tbq_state_t& state, BitReader& bits) {
    if (state.picture.coding_type == 1) {
        read_mcbpc_from(kMcbpcPLookup, state, bits);
    } else {
        read_mcbpc_from(kMcbpcILookup, state, bits);
    }
}

void read_cbpy(tbq_state_t& state, BitReader& bits) {
    if (const auto value = read_code(kCbpyLookup, state, bits)) {
        const bool intra = state.mb.mb_type == kIntra || state.mb.mb_type == kIntraQ;
        state.mb.cbpy = intra ? *value : 15 - *value;
    }
}

unsigned int read_mvd(tbq_state_t& state, BitReader& bits) {
    return read_code(kMvdLookup, state, bits).value_or(0);
}

unsigned int read_tcoef(tbq_state_t& state, BitReader& bits) {
    return read_code(kTcoefLookup, state, bits).value_or(kNoMatch);
}

}  // namespace qlip

void tbq_mcbpc_p_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                       tbq_pos_t* out, int* err) {
    qlip::with_reader(buf, size, in, out, err,
                      [&](BitReader& bits) { read_mcbpc_from(kMcbpcPLookup, *state, bits); });
}

void tbq_mcbpc_i_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                       tbq_pos_t* out, int* err) {
    qlip::with_reader(buf, size, in, out, err,
                      [&](BitReader& bits) { read_mcbpc_from(kMcbpcILookup, *state, bits); });
}

void tbq_cbpy_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                    tbq_pos_t* out, int* err) {
    qlip::with_reader(buf, size, in, out, err, [&](BitReader& bits) { qlip::read_cbpy(*state, bits); });
}

unsigned int tbq_mvd_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                           tbq_pos_t* out, int* err) {
    unsigned int row = 0;
    qlip::with_reader(buf, size, in, out, err, [&](BitReader& bits) { row = qlip::read_mvd(*state, bits); });
    return row;
}

unsigned int tbq_tcoef_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                             tbq_pos_t* out, int* err) {
    unsigned int row = kNoMatch;
    qlip::with_reader(buf, size, in, out, err,
                      [&](BitReader& bits) { row = qlip::read_tcoef(*state, bits); });
    return row;
}
