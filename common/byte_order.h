// Unaligned loads and stores in a stated byte order: the one place where the project converts byte order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qlip {

inline uint16_t load_be16(const void* from) {
    uint16_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap16(value);
}

inline uint32_t load_be24(const void* from) {
    const auto* bytes = static_cast<const unsigned char*>(from);
    return (uint32_t{bytes[0]} << 16) | (uint32_t{bytes[1]} << 8) | bytes[2];
}

inline uint32_t load_be32(const void* from) {
    uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap32(value);
}

inline void store_be16(void* to, uint16_t value) {
    value = __builtin_bswap16(value);
    std::memcpy(to, &value, sizeof value);
}

inline void store_be24(void* to, uint32_t value) {
    auto* bytes = static_cast<unsigned char*>(to);
    bytes[0] = static_cast<unsigned char>(value >> 16);
    bytes[1] = static_cast<unsigned char>(value >> 8);
    bytes[2] = static_cast<unsigned char>(value);
}

inline void store_be32(void* to, uint32_t value) {
    value = __builtin_bswap32(value);
    std::memcpy(to, &value, sizeof value);
}

// Little-endian is the machine's order on the one target (x86-64), so these are plain unaligned accesses.
inline uint32_t load_le32(const void* from) {
    uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

inline void store_le16(void* to, uint16_t value) {
    std::memcpy(to, &value, sizeof value);
}

inline void store_le32(void* to, uint32_t value) {
    std::memcpy(to, &value, sizeof value);
}

// Converts a run of big-endian 32-bit words to machine order; source and destination may be the same memory.
inline void load_be32_run(void* to, const void* from, size_t count) {
    auto* out = static_cast<unsigned char*>(to);
    const auto* in = static_cast<const unsigned char*>(from);
    for (size_t i = 0; i < count; ++i) {
        const uint32_t value = load_be32(in + 4 * i);
        std::memcpy(out + 4 * i, &value, sizeof value);
    }
}

}  // namespace qlip
