// Reading bits, and the search for start codes.
#include <climits>

#include "tests/h263/walk_support.h"
#include "tests/support/box_builder.h"

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

// Six bytes: 10100101 00001111 11000011 01011010 11111111 00000001
TEST(BitsGet, ReadsWithinTheDataOnly) {
    const Read kReads[] = {{"first_bits", {0, 0}, 3, 5, {0, 3}, 0},
                           {"inside_a_byte", {0, 2}, 4, 9, {0, 6}, 0},
                           {"across_a_byte_in_order", {0, 5}, 6, 0b101000, {1, 3}, 0},
                           {"sixteen_unaligned", {0, 4}, 16, 0x50FC, {2, 4}, 0},
                           {"twenty_two_unaligned", {0, 7}, 22, 0x21F86B, {3, 5}, 0},
                           {"thirty_two", {1, 0}, 32, 0x0FC35AFF, {5, 0}, 0},
                           {"of_forty_the_last_thirty_two", {0, 4}, 40, 0xFC35AFF0, {5, 4}, 0},
                           {"last_byte_whole", {5, 0}, 8, 1, {6, 0}, 0},
                           {"nothing", {3, 2}, 0, 0, {3, 2}, 0},
                           {"nothing_at_the_end", {6, 0}, 0, 0, {6, 0}, 0},
                           {"one_bit_at_the_end", {6, 0}, 1, 0, {6, 0}, 1},
                           {"three_of_two_bits", {5, 6}, 3, 0, {5, 6}, 1},
                           {"beyond_the_end", {7, 0}, 1, 0, {7, 0}, 1},
                           {"nothing_beyond_the_end", {6, 1}, 0, 0, {6, 1}, 1},
                           {"position_that_wraps", {ULONG_MAX, 0}, 24, 0, {ULONG_MAX, 0}, 1},
                           {"count_that_wraps", {0, 5}, ULONG_MAX - 2, 0, {0, 5}, 1},
                           {"largest_count", {0, 0}, ULONG_MAX, 0, {0, 0}, 1},
                           {"once_the_flag_is_set", {0, 3}, 4, 0, {0, 3}, 7, 7}};
    Walker walker(hex("A50FC35AFF01"));
    for (const Read& read : kReads) {
        int err = read.before;
        tbq_pos_t out{99, 9};
        EXPECT_EQ(tbq_bits_get(walker.bytes.data(), 6, &read.in, &out, read.count, &err), read.value)
            << read.name;
        EXPECT_EQ(out, read.out) << read.name;
        EXPECT_EQ(err, read.err) << read.name;
    }
}

struct Search {
    const char* name;
    Bytes bytes;
    tbq_pos_t in;
    tbq_boundary_t kind;
    tbq_pos_t out;
    unsigned ss = 0;
    const char* printed = "";
};

// clang-format off
const Search kSearches[] = {
    {"picture", {1, 2, 3, 4, 5, 0, 0, 0x80, 9}, {0, 0}, TBQ_BOUNDARY_PICTURE, {5, 0}},
    {"picture_with_low_bits", {1, 2, 3, 4, 5, 0, 0, 0x83}, {0, 0}, TBQ_BOUNDARY_PICTURE, {5, 0}},
    {"group_1", {1, 2, 3, 4, 5, 0, 0, 0x84}, {0, 0}, TBQ_BOUNDARY_SEGMENT, {5, 0}},
    {"all_ones", {1, 2, 3, 4, 5, 0, 0, 0xFF}, {0, 0}, TBQ_BOUNDARY_SEGMENT, {5, 0}},
    {"last_two_of_more_zero_bytes", {1, 2, 3, 4, 5, 0, 0, 0, 0x80}, {0, 0}, TBQ_BOUNDARY_PICTURE, {6, 0}},
    {"from_the_place_found_the_same_again", {1, 0, 0, 0x80}, {1, 0}, TBQ_BOUNDARY_PICTURE, {1, 0}},
    {"from_behind_it_nothing", {1, 0, 0, 0x80}, {1, 1}, TBQ_BOUNDARY_NONE, {1, 1}},
    {"one_bit_off_the_grid", {0, 0, 0x44, 0xFF}, {0, 0}, TBQ_BOUNDARY_SEGMENT, {0, 1}},
    {"six_bits_end_with_the_data", {0, 0, 0x44}, {0, 0}, TBQ_BOUNDARY_SEGMENT, {0, 1}},
    {"picture_off_the_grid_is_passed_over", {0, 0, 0x40, 0xFF, 0, 0, 0x90}, {0, 0}, TBQ_BOUNDARY_SEGMENT,
     {4, 0}, 0, "h263 parse error 22\n"},
    {"off_the_grid_in_slices_is_passed_over", {0, 0, 0x44, 0xFF, 0, 0, 0x90}, {0, 0}, TBQ_BOUNDARY_SEGMENT,
     {4, 0}, 1, "h263 parse error 23\n"},
    {"zeros_on_both_sides_of_one_zero_byte", {0xF0, 0, 0x0F, 0x80}, {0, 0}, TBQ_BOUNDARY_SEGMENT, {0, 4}},
    {"the_same_cut_within_the_six_bits", {0xF0, 0, 0x0F}, {0, 0}, TBQ_BOUNDARY_NONE, {0, 0}},
    {"fifteen_zeros_are_too_few", {0xF0, 0, 0x1F, 0x80}, {0, 0}, TBQ_BOUNDARY_NONE, {0, 0}},
    {"zeros_that_began_ahead_of_in", {0xF0, 0, 0x0F, 0x80}, {0, 5}, TBQ_BOUNDARY_NONE, {0, 5}},
    {"zeros_just_at_in", {0xF0, 0, 0x0F, 0x80}, {0, 4}, TBQ_BOUNDARY_SEGMENT, {0, 4}},
    {"no_zero_byte", {1, 2, 3, 4}, {0, 0}, TBQ_BOUNDARY_NONE, {0, 0}},
    {"zeros_up_to_the_end", {1, 0, 0, 0}, {0, 0}, TBQ_BOUNDARY_NONE, {0, 0}},
    {"no_data", {}, {0, 0}, TBQ_BOUNDARY_NONE, {0, 0}},
    {"from_the_end", {0, 0, 0x80}, {3, 0}, TBQ_BOUNDARY_NONE, {3, 0}},
    {"from_the_last_bits", {0, 0, 0x80}, {2, 5}, TBQ_BOUNDARY_NONE, {2, 5}},
    {"from_far_beyond_the_end", {0, 0, 0x80}, {~0UL, 3}, TBQ_BOUNDARY_NONE, {~0UL, 3}},
};
// clang-format on

TEST(Boundary, IsTheFirstStartCode) {
    for (const Search& search : kSearches) {
        SCOPED_TRACE(search.name);
        Walker walker(search.bytes);
        walker.pos = search.in;
        walker.state.picture.ss = search.ss;
        walker.state.picture.first_segment = 1;
        walker.state.verbose = 1;
        tbq_boundary_t kind{};
        EXPECT_EQ(printed_by([&] { kind = walker.call(tbq_boundary_next); }), search.printed);
        EXPECT_EQ(kind, search.kind);
        EXPECT_EQ(walker.pos, search.out);
        EXPECT_EQ(walker.err, kind == TBQ_BOUNDARY_NONE ? 1 : 0);
        EXPECT_EQ(walker.state.picture.first_segment, kind == TBQ_BOUNDARY_NONE ? 1U : 0U);
    }
}

TEST(Boundary, TraceLeavesTheKindBlank) {
    Walker walker({1, 0, 0, 0x90});
    walker.state.trace = 1;
    walker.state.base_offset = 0x100;
    EXPECT_EQ(printed_by([&] { walker.call(tbq_boundary_next); }),
              "boundary_type =                     ,  byte =  0x101, bit = 0\n");
    for (const auto kind : {TBQ_BOUNDARY_NONE, TBQ_BOUNDARY_PICTURE, TBQ_BOUNDARY_SEGMENT}) {
        EXPECT_STREQ(tbq_boundary_to_str(kind), "");
    }
}

}  // namespace
}  // namespace qlip_test
