// Reading position in a picture, bounded by its end. Running out of data sets the caller's error flag; once
// that is set nothing is read any more and every value is 0.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>

#include "common/byte_order.h"
#include "qlip/h263_parse.h"

namespace qlip {

constexpr tbq_pos_t advanced(const tbq_pos_t& from, unsigned long bits) {
    const unsigned long sum = from.bit + bits;
    return {from.byte + sum / 8, static_cast<unsigned int>(sum % 8)};
}

class BitReader {
  public:
    BitReader(const unsigned char* data, unsigned long size, const tbq_pos_t& start, int& error)
        : data_(data), size_(size), start_(start), pos_(advanced(start, 0)), error_(error) {}

    bool failed() const { return error_ != 0; }
    void fail() { error_ = 1; }

    const tbq_pos_t& start() const { return start_; }
    const tbq_pos_t& position() const { return pos_; }

    // Where the operation ended: it consumes nothing when it fails.
    const tbq_pos_t& end() const { return failed() ? start_ : pos_; }

    // Of more than 32 bits the last 32 are the value.
    uint32_t get(unsigned long count) {
        if (!claim(count) || count == 0) return 0;
        if (count > 32) {
            pos_ = advanced(pos_, count - 32);
            count = 32;
        }
        const uint32_t high = count > 16 ? take(static_cast<unsigned>(count) - 16) : 0;
        return high << 16 | take(count > 16 ? 16 : static_cast<unsigned>(count));
    }

    void skip(unsigned long count) {
        if (claim(count)) pos_ = advanced(pos_, count);
    }

    // Steps over bits that are known to be there.
    void pass(unsigned long count) { pos_ = advanced(pos_, count); }

    void go_to(const tbq_pos_t& pos) { pos_ = pos; }

    // At least the next 25 bits, from the top bit on, with zeros behind the end of the data.
    uint32_t window() const {
        if (pos_.byte >= size_) return 0;
        if (size_ - pos_.byte >= 4) return load_be32(data_ + pos_.byte) << pos_.bit;
        uint32_t bytes = 0;
        for (unsigned long i = 0; i < size_ - pos_.byte; ++i)
            bytes |= uint32_t{data_[pos_.byte + i]} << (24 - 8 * i);
        return bytes << pos_.bit;
    }

    // How many bits of the window are data.
    unsigned window_bits() const {
        if (pos_.byte >= size_) return 0;
        return 8 * static_cast<unsigned>(std::min(size_ - pos_.byte, 4UL)) - pos_.bit;
    }

    // Bits from the first one of this byte on, ahead of the last seven bytes.
    unsigned long bits_ahead() const {
        const unsigned long left = failed() || pos_.byte >= size_ ? 0 : size_ - pos_.byte;
        return left < kWideBytes ? 0 : 8 * (left - kWideBytes + 1);
    }

    // From the bit `at` of those, at least the next 57, from the top bit on.
    uint64_t wide_window(unsigned long at) const { return load_be64(data_ + pos_.byte + at / 8) << at % 8; }

  private:
    static constexpr unsigned long kWideBytes = sizeof(uint64_t);

    bool holds(unsigned long count) const {
        if (pos_.byte > size_ || count > ULONG_MAX - 7) return false;
        const unsigned long needed = pos_.bit + count;
        const unsigned long left = size_ - pos_.byte;
        return needed / 8 < left || (needed / 8 == left && needed % 8 == 0);
    }

    bool claim(unsigned long count) {
        if (failed()) return false;
        if (!holds(count)) fail();
        return !failed();
    }

    uint32_t take(unsigned count) {
        const uint32_t value = window() >> (32 - count);
        pos_ = advanced(pos_, count);
        return value;
    }

    const unsigned char* data_;
    unsigned long size_;
    tbq_pos_t start_;
    tbq_pos_t pos_;
    int& error_;
};

// The frame of every operation in the walker's calling shape: `walk` gets a reader at *in, unless the flag is
// set already, and *out becomes where it ended.
template <typename Walk>
void with_reader(const unsigned char* buf, unsigned long size, const tbq_pos_t* in, tbq_pos_t* out, int* err,
                 Walk walk) {
    BitReader bits(buf, size, *in, *err);
    if (!bits.failed()) walk(bits);
    *out = bits.end();
}

}  // namespace qlip
