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
constexpr unsigned int kTcoefBits = 13;  // of the longest code word
constexpr unsigned int kSignBits = 1;    // behind any word but ESCAPE

// Behind ESCAPE: LAST, RUN, LEVEL, and of an extended level the level itself.
constexpr unsigned int kEscapeBits = 7;
constexpr unsigned int kLastBits = 1, kRunBits = 6, kLevelBits = 8, kExtendedLevelBits = 11;

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

unsigned int extension_bits(const tbq_state_t& state, uint64_t level) {
    return state.picture.mq != 0 && level == kExtendedLevel ? kExtendedLevelBits : 0;
}

// Returns LAST.
bool read_escape(const tbq_state_t& state, BitReader& bits) {
    const bool last = bits.get(kLastBits) == 1;
    bits.skip(kRunBits);
    const uint32_t level = bits.get(kLevelBits);
    bits.skip(extension_bits(state, level));
    return last;
}

struct Escape {
    bool last;
    unsigned int bits;  // that it takes behind its word
};

// The same from bits that are known to be there.
Escape escape_in(const tbq_state_t& state, uint64_t behind) {
    const uint64_t level = behind << (kLastBits + kRunBits) >> (64 - kLevelBits);
    return {behind >> (64 - kLastBits) != 0,
            kLastBits + kRunBits + kLevelBits + extension_bits(state, level)};
}

// Away from the end of the data a code word and what hangs on it come from one load. True behind the last
// coefficient of a block; else the reader stands in front of a word for read_coefficients_near_end.
bool read_coefficients_ahead(const tbq_state_t& state, BitReader& bits, unsigned int& count) {
    const unsigned long end = bits.bits_ahead();
    const unsigned long begin = bits.position().bit;
    unsigned long at = begin;
    bool last = false;
    while (!last && at < end) {
        const uint64_t window = bits.wide_window(at);
        const tbq_xvlc_entry entry = vlc::filled_tcoef[window >> (64 - kTcoefBits)];
        if (entry.length == 0) break;
        ++count;
        if (entry.value == kEscape) {
            const Escape escape = escape_in(state, window << kEscapeBits);
            last = escape.last;
            at += kEscapeBits + escape.bits;
        } else {
            last = entry.value >= kFirstLastRow;
            at += entry.length + kSignBits;
        }
    }
    bits.pass(at - begin);
    return last;
}

// Where the data ends soon, and for words that are no code words, which end the block.
[[gnu::noinline]] void read_coefficients_near_end(tbq_state_t& state, BitReader& shared,
                                                  unsigned int& count) {
    BitReader bits = shared;
    for (bool last = false; !last;) {
        const unsigned int row = read_tcoef(state, bits);
        if (static_cast<int>(row) < 0) break;
        ++count;
        if (row == kEscape) {
            last = read_escape(state, bits);
        } else {
            bits.skip(kSignBits);
            last = row >= kFirstLastRow;
        }
    }
    shared.go_to(bits.position());
}

// The coefficients of a block, up to the last one or to a word that is no code word.
void read_coefficients(tbq_state_t& state, BitReader& bits) {
    unsigned int count = 0;
    if (!read_coefficients_ahead(state, bits, count)) read_coefficients_near_end(state, bits, count);
    state.mb.tcoef_count += count;
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
