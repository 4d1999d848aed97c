// Bits written by hand, and one operation of the walker called on them.
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

#include "qlip/h263_parse.h"
#include "tests/support/memory_host.h"

inline bool operator==(const tbq_pos_t& one, const tbq_pos_t& other) {
    return one.byte == other.byte && one.bit == other.bit;
}

inline void PrintTo(const tbq_pos_t& pos, std::ostream* out) {
    *out << "byte " << pos.byte << " bit " << pos.bit;
}

namespace qlip_test {

class BitWriter {
  public:
    // Appends '0' and '1'; blanks are for the reader.
    BitWriter& bits(std::string_view digits) {
        for (const char digit : digits) {
            if (digit != ' ') push(digit == '1');
        }
        return *this;
    }

    BitWriter& number(unsigned long value, unsigned width) {
        while (width-- > 0)
            push((value >> width & 1) != 0);
        return *this;
    }

    unsigned long count() const { return count_; }

    // The bytes so far; the last one is filled up with 1 bits.
    const Bytes& bytes() const { return bytes_; }

  private:
    void push(bool bit) {
        if (count_ % 8 == 0) bytes_.push_back(0xFF);
        if (!bit) bytes_.back() = static_cast<unsigned char>(bytes_.back() & ~(0x80U >> count_ % 8));
        ++count_;
    }

    Bytes bytes_;
    unsigned long count_ = 0;
};

inline tbq_pos_t bit_position(unsigned long bits) {
    return {bits / 8, static_cast<unsigned>(bits % 8)};
}

// A walker over bytes of its own, in a block of their exact size so that a sanitizer sees every read beyond.
struct Walker {
    explicit Walker(const Bytes& data) : bytes(data.begin(), data.end()) { bytes.shrink_to_fit(); }

    template <typename Result>
    Result call(Result (*operation)(tbq_state_t*, unsigned char*, unsigned long, const tbq_pos_t*, tbq_pos_t*,
                                    int*)) {
        return operation(&state, bytes.data(), bytes.size(), &pos, &pos, &err);
    }

    Bytes bytes;
    tbq_state_t state{};
    tbq_pos_t pos{};
    int err = 0;
};

// Runs `test` on a walker that stands on the first of the bits, of which only the first `left` are there, for
// each `left`. They end with a byte, so that the data ends behind them.
template <typename Test>
void at_every_cut(std::string_view bits, Test test) {
    const unsigned long count = BitWriter().bits(bits).count();
    for (unsigned long left = 0; left < count; ++left) {
        const unsigned ahead = (8 - left % 8) % 8;
        Bytes bytes = BitWriter().number(0, ahead).bits(bits).bytes();
        bytes.resize((ahead + left) / 8);
        Walker walker(bytes);
        walker.pos = bit_position(ahead);
        test(walker);
        EXPECT_EQ(walker.err, 1) << left;
        EXPECT_EQ(walker.pos, bit_position(ahead)) << left;
    }
}

// What `action` writes to standard output.
template <typename Action>
std::string printed_by(Action action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

}  // namespace qlip_test
