#include <algorithm>
#include <set>
#include <span>
#include <string>

#include "h263/vlc_codes.h"
#include "tests/h263/walk_support.h"

namespace qlip_test {
namespace {

using qlip::vlc::Code;

constexpr unsigned kUntouched = 99;
constexpr unsigned kNoCoefficient = static_cast<unsigned>(-1);

// One parse operation, its result as the table's value.
struct Operation {
    const char* name;
    unsigned width;
    std::span<const Code> codes;
    unsigned (*run)(Walker&);
    unsigned none;  // what it leaves or returns when nothing was found
    const char* diagnostic;
};

template <auto kParse>
unsigned run_mcbpc(Walker& walker) {
    walker.state.mb.cbpc = kUntouched;
    walker.call(kParse);
    const tbq_mb_info_t& mb = walker.state.mb;
    return mb.cbpc == kUntouched ? kUntouched : mb.mb_type * 4 + mb.cbpc;
}

template <auto kParse>
unsigned run_row(Walker& walker) {
    return walker.call(kParse);
}

unsigned run_cbpy(Walker& walker) {
    walker.state.mb.mb_type = 3;
    walker.state.mb.cbpy = kUntouched;
    walker.call(tbq_cbpy_parse);
    return walker.state.mb.cbpy;
}

const Operation kOperations[] = {
    {"mcbpc_p", 13, qlip::vlc::kMcbpcP, run_mcbpc<tbq_mcbpc_p_parse>, kUntouched, "h263 parse error 13\n"},
    {"mcbpc_i", 9, qlip::vlc::kMcbpcI, run_mcbpc<tbq_mcbpc_i_parse>, kUntouched, "h263 parse error 12\n"},
    {"cbpy", 6, qlip::vlc::kCbpy, run_cbpy, kUntouched, "h263 parse error 14\n"},
    {"mvd", 13, qlip::vlc::kMvd, run_row<tbq_mvd_parse>, 0, "h263 parse error 15\n"},
    {"tcoef", 13, qlip::vlc::kTcoef, run_row<tbq_tcoef_parse>, kNoCoefficient, "h263 parse error 16\n"},
};

struct Outcome {
    unsigned value;
    unsigned consumed;
    int err;
    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "value " << outcome.value << " bits " << outcome.consumed << " err " << outcome.err;
}

// The search bit by bit: `window` are the next bits, of which `available` are there. Bits behind the end of
// the data count as 0, and the word is not consumed.
Outcome search(const Operation& operation, unsigned window, unsigned available) {
    std::string bits;
    for (unsigned i = operation.width; i-- > 0;)
        bits += (window >> i & 1) != 0 ? '1' : '0';
    std::fill(bits.begin() + available, bits.end(), '0');
    for (const Code& code : operation.codes) {
        const auto size = static_cast<unsigned>(code.word.size());
        if (!bits.starts_with(code.word)) continue;
        if (size <= available) return {code.value, size, 0};
        if (bits.find('1', size) == std::string::npos) return {code.value, 0, 1};
    }
    if (available < operation.width) return {0, 0, 1};
    return {operation.none, operation.width, 0};
}

// The bits of `window` at bit `start` of data that is `size` bytes long.
Walker walker_at(unsigned start, unsigned width, unsigned window, unsigned size) {
    BitWriter writer;
    writer.number(0, start).number(window, width);
    Bytes bytes = writer.bytes();
    bytes.resize(size, 0xA5);
    Walker walker(bytes);
    walker.pos = bit_position(start);
    return walker;
}

Outcome run(const Operation& operation, Walker walker) {
    const tbq_pos_t in = walker.pos;
    const unsigned value = operation.run(walker);
    return {value, static_cast<unsigned>(8 * (walker.pos.byte - in.byte) + walker.pos.bit - in.bit),
            walker.err};
}

class CodeWords : public testing::TestWithParam<Operation> {};

TEST_P(CodeWords, EveryWindowCutByTheEndOfTheDataReadsAsInASearchBitByBit) {
    const Operation& operation = GetParam();
    const auto check = [&](unsigned window, unsigned start, unsigned size, unsigned available) {
        ASSERT_EQ(run(operation, walker_at(start, operation.width, window, size)),
                  search(operation, window, available))
            << "window " << window << " at bit " << start << ", of which " << available << " bits are there";
    };
    for (unsigned window = 0; window < 1U << operation.width; ++window) {
        for (unsigned start = 0; start < 8; ++start)
            check(window, start, 8, operation.width);
        for (unsigned available = 0; available <= operation.width; ++available)
            check(window, 32 - available, 4, available);
    }
}

TEST_P(CodeWords, AWordInNoTableIsPassedOverAtFullWidthWithADiagnostic) {
    const Operation& operation = GetParam();
    Walker walker({0, 0, 0});
    walker.state.verbose = 1;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(operation.run(walker), operation.none); }), operation.diagnostic);
    EXPECT_EQ(walker.pos, bit_position(operation.width));
    EXPECT_EQ(walker.err, 0);
}

INSTANTIATE_TEST_SUITE_P(Tables, CodeWords, testing::ValuesIn(kOperations),
                         [](const auto& test) { return test.param.name; });

TEST_P(CodeWords, EachHasAValueOfItsOwn) {
    std::set<unsigned> values;
    for (const Code& code : GetParam().codes)
        EXPECT_TRUE(values.insert(code.value).second) << code.word;
}

// Rows looked up in ITU-T H.263 by hand.
TEST(CodeWordRows, ReadAsInTheStandard) {
    // clang-format off
    const struct {
        size_t operation;
        const char* word;
        unsigned value;
    } kRows[] = {
        {0, "1", 0}, {0, "00011", 12}, {0, "000100", 16}, {0, "000000001", 255}, {0, "00000000010", 20},
        {0, "0000000001111", 23}, {1, "1", 12}, {1, "0001", 16}, {1, "000000001", 255}, {2, "11", 15},
        {2, "0011", 0}, {3, "1", 32}, {3, "0000000000101", 0}, {3, "0000000000110", 63}, {4, "10", 0},
        {4, "0111", 58}, {4, "000001011111", 101}, {4, "0000011", 102}};
    // clang-format on
    for (const auto& [operation, word, value] : kRows) {
        Walker walker(BitWriter().bits(word).number(~0UL, 32).bytes());
        EXPECT_EQ(kOperations[operation].run(walker), value) << word;
        EXPECT_EQ(walker.pos, bit_position(std::string_view(word).size())) << word;
    }
}

}  // namespace
}  // namespace qlip_test
