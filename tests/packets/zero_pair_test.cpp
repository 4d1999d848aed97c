// The vector search for the last pair of zero bytes against the walk that it stands for.
#include "packets/zero_pair.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

const unsigned char* walk(const unsigned char* at, const unsigned char* end) {
    const unsigned char* last = nullptr;
    while (end - at >= 2) {
        const bool pair = at[0] == 0 && at[1] == 0;
        if (pair) last = at;
        at += pair ? 2 : 1;
    }
    return last;
}

TEST(ZeroPair, SearchMeetsTheSamePairAsTheWalk) {
    std::mt19937 random(2190);
    for (const unsigned int one_in : {1u, 2u, 3u, 8u, 40u, 400u}) {  // 1: all zero
        for (size_t size = 0; size < 200; ++size) {
            std::vector<unsigned char> bytes(size);
            for (auto& byte : bytes)
                byte = random() % one_in == 0 ? 0 : 0x80;
            const unsigned char* end = bytes.data() + size;
            for (size_t from = 0; from <= std::min<size_t>(size, 20); ++from) {
                const unsigned char* begin = bytes.data() + from;
                ASSERT_EQ(qlip::last_walked_zero_pair(begin, end), walk(begin, end)) << one_in << " " << size;
            }
        }
    }
}

TEST(ZeroPair, LongRunsOfZerosKeepTheParityOfTheirStart) {
    for (size_t start = 0; start <= 118; ++start) {
        for (size_t length = 2; start + length <= 120; ++length) {
            std::vector<unsigned char> bytes(120, 1);
            std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(start), length, static_cast<unsigned char>(0));
            const unsigned char* end = bytes.data() + bytes.size();
            ASSERT_EQ(qlip::last_walked_zero_pair(bytes.data(), end) - bytes.data(),
                      static_cast<ptrdiff_t>(start + length / 2 * 2 - 2));
        }
    }
}

}  // namespace
