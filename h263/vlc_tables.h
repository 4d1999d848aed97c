// Lookup tables of the code words, each in two forms of the same index: the next bits of the data, filled up
// with zeros below where there are fewer.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "h263/vlc_codes.h"

struct tbq_xvlc_entry {
    unsigned char length;  // of the code word in bits; 0: none
    unsigned char value;
};

template <unsigned kWidth>
using tbq_xvlc_table = std::array<tbq_xvlc_entry, std::size_t{1} << kWidth>;

// One entry for each code word, at the index whose further bits are zero.
extern const tbq_xvlc_table<13> tbq_xvlc_mcbpc_p;
extern const tbq_xvlc_table<9> tbq_xvlc_mcbpc_i;
extern const tbq_xvlc_table<6> tbq_xvlc_cbpy;
extern const tbq_xvlc_table<13> tbq_xvlc_mvd;
extern const tbq_xvlc_table<13> tbq_xvlc_tcoef;

namespace qlip::vlc {

// The same code words, each at every index that begins with it, so that one look finds it.
extern const tbq_xvlc_table<13> filled_mcbpc_p;
extern const tbq_xvlc_table<9> filled_mcbpc_i;
extern const tbq_xvlc_table<6> filled_cbpy;
extern const tbq_xvlc_table<13> filled_mvd;
extern const tbq_xvlc_table<13> filled_tcoef;

constexpr std::size_t first_index(const Code& code, unsigned width) {
    std::size_t index = 0;
    for (const char bit : code.word)
        index = index << 1 | static_cast<std::size_t>(bit == '1');
    return index << (width - code.word.size());
}

constexpr tbq_xvlc_entry entry_of(const Code& code) {
    return {static_cast<unsigned char>(code.word.size()), code.value};
}

template <unsigned kWidth>
constexpr tbq_xvlc_table<kWidth> make_sparse(std::span<const Code> codes) {
    tbq_xvlc_table<kWidth> table{};
    for (const Code& code : codes)
        table[first_index(code, kWidth)] = entry_of(code);
    return table;
}

template <unsigned kWidth>
constexpr tbq_xvlc_table<kWidth> make_filled(std::span<const Code> codes) {
    tbq_xvlc_table<kWidth> table{};
    for (const Code& code : codes) {
        const std::size_t first = first_index(code, kWidth);
        const std::size_t last = first + (std::size_t{1} << (kWidth - code.word.size()));
        for (std::size_t index = first; index < last; ++index)
            table[index] = entry_of(code);
    }
    return table;
}

constexpr bool prefix_free(std::span<const Code> codes) {
    for (const Code& one : codes) {
        for (const Code& other : codes) {
            if (&one != &other && other.word.starts_with(one.word)) return false;
        }
    }
    return true;
}

constexpr bool within_width(std::span<const Code> codes, unsigned width) {
    for (const Code& code : codes) {
        if (code.word.empty() || code.word.size() > width) return false;
        if (code.word.find_first_not_of("01") != std::string_view::npos) return false;
    }
    return true;
}

}  // namespace qlip::vlc
