// Stream records written the way their tables read.
#pragma once

#include <initializer_list>

#include "tests/support/memory_host.h"

namespace qlip_test {

// Little-endian 32-bit words.
inline Bytes words(std::initializer_list<uint32_t> values) {
    Bytes out;
    for (const uint32_t value : values) {
        for (int shift = 0; shift < 32; shift += 8)
            out.push_back(static_cast<unsigned char>(value >> shift));
    }
    return out;
}

}  // namespace qlip_test
