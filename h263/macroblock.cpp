// One macroblock, bit by bit, without reconstructing anything.
#include <cstdio>

#include "h263/code_words.h"

using namespace qlip;

namespace {

constexpr unsigned int kInterQ = 1;
constexpr unsigned int kInter4V = 2;
constexpr unsigned int kInter4VQ = 5;
constexpr unsigned int kLastType = kInter4VQ;

constexpr unsigned int kFirstLastRow = 58;  // TCOEF rows from here on end their block
constexpr unsigned int kEscape = 102;
constexpr unsigned int kExtendedLevel = 128;

bool has_four_vectors(unsigned int mb_type) {
    return mb_type == kInter4V || mb_type == kInter4VQ;
}

bool is_intra(unsigned int mb_type) {
    return mb_type == kIntra || mb_type == kIntraQ;
}

bool has_dquant(unsigned int mb_type) {
    return mb_type == kInterQ || mb_type == kIntraQ || mb_type == kInter4VQ;
}

void read_mcbpc(tbq_state_t& state, BitReader& bits) {
    if (state.picture.coding_type == 1) {
        read_mcbpc(kMcbpcPLookup, state, bits);
    } else {
        read_mcbpc(kMcbpcILookup, state, bits);
    }
}

// COD and MCBPC, again behind each stuffing word. False for a macroblock that ends there.
bool read_mb_type(tbq_state_t& state, BitReader& bits) {
    do {
        state.mb.cod = state.picture.coding_type == 1 ? bits.get(1) : 0;
        if (state.mb.cod == 1) return false;
        read_mcbpc(state, bits);
        if (bits.failed()) return false;
    } while (state.mb.mb_type > kLastType);
    return true;
}

// DQUANT. Where Modified Quantization gives it two bits, the first being 1, the second is not skipped: kept
// for hosts of the walker [walker-lost-fields].
void skip_dquant(const tbq_state_t& state, BitReader& bits) {
    if (state.picture.mq == 0) {
        bits.skip(2);
    } else if (bits.get(1) == 0) {
        bits.skip(5);
    }
}

void skip_vector(tbq_state_t& state, BitReader& bits) {
    read_mvd(state, bits);
    read_mvd(state, bits);
}

// Vectors 2 to 4 of a four-vector macroblock are there when the Deblocking Filter mode is on, and
// Advanced Prediction, which brings them too, is not asked: kept for hosts of the walker
// [walker-lost-fields].
void read_vectors(tbq_state_t& state, BitReader& bits) {
    tbq_mb_info_t& mb = state.mb;
    if (state.picture.coding_type == 1 && !is_intra(mb.mb_type)) {
        mb.hmvd = read_mvd(state, bits);
        mb.vmvd = read_mvd(state, bits);
    }
    if (has_four_vectors(mb.mb_type) && state.picture.df != 0) {
        skip_vector(state, bits);
        mb.hmvd3 = read_mvd(state, bits);
        mb.vmvd3 = read_mvd(state, bits);
        skip_vector(state, bits);
    }
}

// LAST, RUN and LEVEL behind ESCAPE. Returns LAST.
bool read_escape(const tbq_state_t& state, BitReader& bits) {
    const bool last = bits.get(1) == 1;
    bits.skip(6);
    const uint32_t level = bits.get(8);
    if (state.picture.mq != 0 && level == kExtendedLevel) bits.skip(11);
    return last;
}

// The coefficients of a block, up to the last one or to a word that is no code word.
void read_coefficients(tbq_state_t& state, BitReader& shared) {
    BitReader bits = shared;
    unsigned int count = 0;
    bool last = false;
    while (!last) {
        const unsigned int row = read_tcoef(state, bits);
        if (static_cast<int>(row) < 0) break;
        ++count;
        if (row == kEscape) {
            last = read_escape(state, bits);
        } else {
            bits.skip(1);  // sign
            last = row >= kFirstLastRow;
        }
    }
    state.mb.tcoef_count += count;
    shared.go_to(bits.position());
}

void read_block_layer(tbq_state_t& state, BitReader& bits) {
    const unsigned int pattern = state.mb.cbpy * 4 + state.mb.cbpc;
    for (unsigned int coded = 1U << 5; coded != 0; coded >>= 1) {
        if (is_intra(state.mb.mb_type)) bits.skip(8);  // INTRADC
        if ((pattern & coded) != 0) read_coefficients(state, bits);
    }
}

void read_coded_layers(tbq_state_t& state, BitReader& bits) {
    read_cbpy(state, bits);
    if (has_dquant(state.mb.mb_type)) skip_dquant(state, bits);
    read_vectors(state, bits);
    if (state.trace != 0) {
        printf("Macroblock %d block layer start byte=0x%x bit=%u\n", static_cast<int>(state.gob.mb_count),
               printed_byte(state, bits.position()), bits.position().bit);
    }
    read_block_layer(state, bits);
}

// A macroblock that ends where the last one ended was counted already.
void count_macroblock(tbq_state_t& state, const tbq_pos_t& behind) {
    state.mb.valid = 1;
    if (tbq_pos_eq(&state.gob.last_mb_pos, &behind) != 0) {
        state.mb.mb_number = state.gob.mb_count - 1;
        return;
    }
    state.gob.last_mb_pos = behind;
    state.mb.mb_number = state.gob.mb_count++;
}

void read_macroblock(tbq_state_t& state, BitReader& bits) {
    tbq_mb_info_init(&state.mb);
    if (read_mb_type(state, bits)) read_coded_layers(state, bits);
    if (bits.failed()) return;
    count_macroblock(state, bits.position());
    if (state.verbose != 0) tbq_mb_info_print(&state, &bits.start());
}

}  // namespace

void tbq_mb_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                  tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_macroblock(*state, bits); });
}

void tbq_block_layer_parse(tbq_state_t* state, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                           tbq_pos_t* out, int* err) {
    with_reader(buf, size, in, out, err, [&](BitReader& bits) { read_block_layer(*state, bits); });
}
