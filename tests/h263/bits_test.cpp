#include <climits>
#include <memory>

#include "tests/h263/walk_support.h"

namespace qlip_test {
namespace {

struct Read {
    const char* name;
    tbq_pos_t in;
    unsigned long count;
    unsigned long value;
    tbq_pos_t out;
    int err;
    int before = 0;  // the flag ahead of the call
};

class BitsGet : public testing::TestWithParam<Read> {};

// Six bytes: 10100101 00001111 11000011 01011010 11111111 00000001
TEST_P(BitsGet, ReadsWithinTheDataOnly) {
    const Read& read = GetParam();
    const auto data = std::make_unique<unsigned char[]>(6);
    std::copy_n("\xA5\x0F\xC3\x5A\xFF\x01", 6, data.get());
    int err = read.before;
    tbq_pos_t out{99, 9};
    EXPECT_EQ(tbq_bits_get(data.get(), 6, &read.in, &out, read.count, &err), read.value);
    EXPECT_EQ(out, read.out);
    EXPECT_EQ(err, read.err);
}

INSTANTIATE_TEST_SUITE_P(
    Table, BitsGet,
    testing::Values(
        Read{"first_bits", {0, 0}, 3, 5, {0, 3}, 0}, Read{"inside_a_byte", {0, 2}, 4, 9, {0, 6}, 0},
        Read{"across_a_byte_in_order", {0, 5}, 6, 0b101000, {1, 3}, 0},
        Read{"sixteen_unaligned", {0, 4}, 16, 0x50FC, {2, 4}, 0},
        Read{"twenty_two_unaligned", {0, 7}, 22, 0x21F86B, {3, 5}, 0},
        Read{"thirty_two", {1, 0}, 32, 0x0FC35AFF, {5, 0}, 0},
        Read{"of_forty_the_last_thirty_two", {0, 4}, 40, 0xFC35AFF0, {5, 4}, 0},
        Read{"last_byte_whole", {5, 0}, 8, 1, {6, 0}, 0}, Read{"nothing", {3, 2}, 0, 0, {3, 2}, 0},
        Read{"nothing_at_the_end", {6, 0}, 0, 0, {6, 0}, 0},
        Read{"one_bit_at_the_end", {6, 0}, 1, 0, {6, 0}, 1},
        Read{"three_of_two_bits", {5, 6}, 3, 0, {5, 6}, 1}, Read{"beyond_the_end", {7, 0}, 1, 0, {7, 0}, 1},
        Read{"nothing_beyond_the_end", {6, 1}, 0, 0, {6, 1}, 1},
        Read{"position_that_wraps", {ULONG_MAX, 0}, 24, 0, {ULONG_MAX, 0}, 1},
        Read{"count_that_wraps", {0, 5}, ULONG_MAX - 2, 0, {0, 5}, 1},
        Read{"largest_count", {0, 0}, ULONG_MAX, 0, {0, 0}, 1},
        Read{"once_the_flag_is_set", {0, 3}, 4, 0, {0, 3}, 7, 7}),
    [](const auto& test) { return test.param.name; });

}  // namespace
}  // namespace qlip_test
