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

inline Bytes slice(const Bytes& bytes, size_t from, size_t size) {
    return Bytes(bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(from + size));
}

}  // namespace qlip_test
