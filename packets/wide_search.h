// The parts of the searches that pass over bytes in which nothing can be found, in the widest registers that
// the processor has. The choice is made once, at the first search, by a table of functions: any loader,
// linkage and sanitizer can do that.
#pragma once

namespace qlip {

struct WideSearch {
    // Bytes at the end of [begin, end) that hold no zero pair and do not begin one are left out, many at
    // once.
    const unsigned char* (*pass_back_without_pairs)(const unsigned char* begin, const unsigned char* end);

    // The first position of [at, end) at which a closer look for 00 00 01 is due, or `end`. What lies between
    // `begin` and `at` is known.
    const unsigned char* (*pass_without_start_codes)(const unsigned char* begin, const unsigned char* at,
                                                     const unsigned char* end);
};

extern const WideSearch kBaselineSearch;  // SSE2 is part of every x86-64
extern const WideSearch kAvx2Search;

bool has_avx2();

inline const WideSearch& wide_search() {
    static const WideSearch& chosen = has_avx2() ? kAvx2Search : kBaselineSearch;
    return chosen;
}

}  // namespace qlip
