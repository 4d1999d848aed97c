#include "qlip/h263_isoff.h"
#include "tests/h263/walk_support.h"

namespace qlip_test {
namespace {

enum Picture : unsigned { kI = 0, kP = 1 };

struct Modes {
    Picture picture = kP;
    unsigned df = 0, mq = 0;
};

struct Fields {
    unsigned cod = 0, mb_type = 0, cbpc = 0, cbpy = 0, hmvd = 0, vmvd = 0, hmvd3 = 0, vmvd3 = 0,
             tcoef_count = 0;
    bool operator==(const Fields&) const = default;
};

Fields fields_of(const tbq_mb_info_t& mb) {
    return {mb.cod, mb.mb_type, mb.cbpc, mb.cbpy, mb.hmvd, mb.vmvd, mb.hmvd3, mb.vmvd3, mb.tcoef_count};
}

struct Macroblock {
    const char* name;
    Modes modes;
    const char* bits;
    Fields fields;
};

// COD, MCBPC, CBPY, DQUANT, MVD, then the blocks.
// clang-format off
const Macroblock kMacroblocks[] = {
    {"not_coded", {}, "1", {.cod = 1}},
    {"stuffing_brings_a_new_cod", {}, "0 000000001 1", {.cod = 1, .mb_type = 63, .cbpc = 3}},
    {"stuffing_in_an_i_picture", {.picture = kI},
     "000000001 000000001 1 0011 10000000 10000000 10000000 10000000 10000000 10000000", {.mb_type = 3}},
    {"inter_without_coefficients", {}, "0 1 11 1 1", {.hmvd = 32, .vmvd = 32}},
    {"inter_with_quantizer", {}, "0 011 11 01 010 011", {.mb_type = 1, .hmvd = 33, .vmvd = 31}},
    {"modified_quantizer_of_six_bits", {.mq = 1}, "0 011 11 0 10101 010 011",
     {.mb_type = 1, .hmvd = 33, .vmvd = 31}},
    // The second bit of the short form is not skipped and so taken for the first motion vector.
    {"modified_quantizer_of_two_bits_takes_one", {.mq = 1}, "0 011 11 1 1 010",
     {.mb_type = 1, .hmvd = 32, .vmvd = 33}},
    {"four_vectors_without_deblocking_filter_take_one_vector", {}, "0 010 11 010 011",
     {.mb_type = 2, .hmvd = 33, .vmvd = 31}},
    {"four_vectors_with_deblocking_filter", {.df = 1}, "0 010 11 010 011 1 1 0010 0011 1 1",
     {.mb_type = 2, .hmvd = 33, .vmvd = 31, .hmvd3 = 34, .vmvd3 = 30}},
    {"four_vectors_with_quantizer", {.df = 1}, "0 00000000010 11 10 1 1 1 1 010 1 1 1",
     {.mb_type = 5, .hmvd = 32, .vmvd = 32, .hmvd3 = 33, .vmvd3 = 32}},
    {"deblocking_filter_changes_nothing_for_one_vector", {.df = 1}, "0 1 11 1 1", {.hmvd = 32, .vmvd = 32}},
    {"intra_in_a_p_picture", {}, "0 00011 0011 10000000 10000000 10000000 10000000 10000000 10000000",
     {.mb_type = 3}},
    {"intra_with_quantizer", {.picture = kI},
     "0001 0011 11 10000000 10000000 10000000 10000000 10000000 10000000", {.mb_type = 4}},
    {"every_block_coded", {.picture = kI},
     "011 11 10000000 0111 0 10000000 10 1 0111 0 10000000 0111 0 10000000 0111 0 10000000 0111 0 "
     "10000000 000001011111 1",
     {.mb_type = 3, .cbpc = 3, .cbpy = 15, .tcoef_count = 7}},
    {"blocks_0_and_5_by_the_pattern", {}, "0 0011 1000 1 1 0111 0 0111 1",
     {.cbpc = 1, .cbpy = 2, .hmvd = 32, .vmvd = 32, .tcoef_count = 2}},
    {"escape_that_is_not_last", {}, "0 0011 11 1 1 0000011 0 111111 10000000 0111 0",
     {.cbpc = 1, .hmvd = 32, .vmvd = 32, .tcoef_count = 2}},
    {"escape_with_extended_level", {.mq = 1}, "0 0011 11 1 1 0000011 1 000000 10000000 01010101010",
     {.cbpc = 1, .hmvd = 32, .vmvd = 32, .tcoef_count = 1}},
    {"escape_with_plain_level_in_modified_quantization", {.mq = 1}, "0 0011 11 1 1 0000011 1 000000 10000001",
     {.cbpc = 1, .hmvd = 32, .vmvd = 32, .tcoef_count = 1}},
    {"no_coefficient_word_ends_the_block_only", {}, "0 000101 11 1 1 0000000000000 0111 1",
     {.cbpc = 3, .hmvd = 32, .vmvd = 32, .tcoef_count = 1}},
    {"no_mcbpc_word_is_walked_as_inter", {}, "0 0000000000000 11 1 1", {.hmvd = 32, .vmvd = 32}},
};
// clang-format on

void set_modes(Walker& walker, const Modes& modes) {
    walker.state.picture.coding_type = modes.picture;
    walker.state.picture.df = modes.df;
    walker.state.picture.mq = modes.mq;
}

// At any bit of a byte; cut anywhere, it consumes nothing.
TEST(MacroblockWalk, EndsBehindTheLastBit) {
    for (const Macroblock& macroblock : kMacroblocks) {
        SCOPED_TRACE(macroblock.name);
        for (unsigned start = 0; start < 8; ++start) {
            const BitWriter writer = BitWriter().number(0, start).bits(macroblock.bits);
            Walker walker(writer.bytes());
            set_modes(walker, macroblock.modes);
            walker.pos = bit_position(start);
            walker.call(tbq_mb_parse);
            EXPECT_EQ(walker.err, 0);
            EXPECT_EQ(walker.pos, bit_position(writer.count()));
            EXPECT_EQ(fields_of(walker.state.mb), macroblock.fields);
            EXPECT_EQ(walker.state.mb.valid + walker.state.gob.mb_count, 2U);
        }
        at_every_cut(macroblock.bits, [&](Walker& cut) {
            set_modes(cut, macroblock.modes);
            cut.call(tbq_mb_parse);
            EXPECT_EQ(cut.state.gob.mb_count + cut.state.mb.valid, 0U);
        });
    }
}

TEST(MacroblockPrint, VerboseAndTraced) {
    Walker walker(BitWriter().bits("111 0 011 11 01 010 011").bytes());
    set_modes(walker, {});
    walker.pos = {0, 3};
    walker.state.base_offset = 0x20;
    walker.state.picture_number = 4;
    walker.state.gob.mb_count = 6;
    walker.state.verbose = 1;
    const std::string fields =
        "  Macroblock type    = 1\n  CBPY               = 0x0\n  CBPC               = 0x0\n"
        "  COD                = 0\n  HMVD index         = 33\n  VMVD index         = 31\n"
        "  HMVD 3 index       = 0\n  VMVD 3 index       = 0\n  Number of TCOEF    = 0\n";
    const std::string head = "\nMacroblock Information: picture 4 mb 6 start 0x20 bit 3\n";
    EXPECT_EQ(printed_by([&] { walker.call(tbq_mb_parse); }), head + fields);
    walker.pos = {0, 3};
    walker.state.trace = 1;
    EXPECT_EQ(printed_by([&] { walker.call(tbq_mb_parse); }),
              "Macroblock 7 block layer start byte=0x22 bit=1\n" + head +
                  "frame 4, MB 6 start byte 0x20 bit 3\n" + fields);
}

TEST(StartOfMacroblock, TellsWhichDataWasMissing) {
    const struct {
        const char* missing;
        Bytes bytes;
        int size;
        tbq_pos_t pos;
        int result;
    } kCases[] = {{"picture header", {0, 0, 0x80, 0x02}, 2, {0, 0}, -1},
                  {"all, by a negative size", {0, 0, 0x80, 0x02}, -5, {0, 0}, -1},
                  {"bits to look ahead", {0, 0, 0x80, 0x02}, 4, {2, 1}, -1},
                  {"macroblock", {0xFF, 0xFF, 0xFF, 0xFF}, 3, {0, 1}, 1},
                  {"group header", {0xFF, 0, 0, 0x80}, 4, {1, 0}, -1}};
    for (auto [missing, bytes, size, pos, result] : kCases) {
        tbq_state_t state{};
        state.trace = 1;
        state.picture_flag_1 = state.picture_flag_2 = 1;
        const tbq_pos_t before = pos;
        EXPECT_EQ(get_start_of_mb(&state, bytes.data(), size, &pos, &pos), result) << missing;
        EXPECT_EQ(pos, before) << missing;
        const bool at_picture = pos == tbq_pos_t{0, 0};
        EXPECT_EQ(static_cast<int>(state.trace) + state.picture_flag_1 + state.picture_flag_2,
                  at_picture ? 0 : 3);
    }
}

}  // namespace
}  // namespace qlip_test
