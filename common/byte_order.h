// Unaligned loads and stores in a stated byte order: the one place where the project converts byte order.
#pragma once

#include <emmintrin.h>

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

inline uint64_t load_be64(const void* from) {
    uint64_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap64(value);
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

// Swaps the bytes of four 32-bit words: within each half first, then the halves.
inline __m128i swap_four_words(__m128i words) {
    const __m128i halves = _mm_or_si128(_mm_slli_epi16(words, 8), _mm_srli_epi16(words, 8));
    constexpr int kOtherHalf = _MM_SHUFFLE(2, 3, 0, 1);
    return _mm_shufflehi_epi16(_mm_shufflelo_epi16(halves, kOtherHalf), kOtherHalf);
}

// Converts a run of big-endian 32-bit words to machine order; the destination may be the source, or begin
// before it.
inline void load_be32_run(void* to, const void* from, size_t count) {
    auto* out = static_cast<unsigned char*>(to);
    const auto* in = static_cast<const unsigned char*>(from);
    for (; count >= 4; count -= 4, in += 16, out += 16) {
        const __m128i words = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), swap_four_words(words));
    }
    for (; count > 0; --count, in += 4, out += 4) {
        const uint32_t value = load_be32(in);
        std::memcpy(out, &value, sizeof value);
    }
}

}  // namespace qlip
