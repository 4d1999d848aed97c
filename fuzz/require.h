// What a fuzz target asserts: a claim that does not hold ends the run as a crash.
#pragma once

#include <cstdlib>

namespace qlip_fuzz {

inline void require(bool holds) {
    if (!holds) std::abort();
}

}  // namespace qlip_fuzz
