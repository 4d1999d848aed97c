#include <tuple>

#include "tests/h263/walk_support.h"

namespace qlip_test {
namespace {

constexpr const char* kStartCode = "0000 0000 0000 0000 1 00000";

// The fields of a header that the cases look at.
struct Fields {
    unsigned coding_type = 0, source_format = 0, pquant = 0, cpm = 0, plusptype = 0, ufep = 0, pcf = 0,
             aic = 0, df = 0, ss = 0, sss = 0, mq = 0;
    bool operator==(const Fields&) const = default;
};

Fields fields_of(const tbq_picture_info_t& p) {
    EXPECT_EQ(p.clock_conv_code + p.clock_divisor + p.etr + p.pei, 0U);
    return {p.coding_type, p.source_format, p.pquant, p.cpm, p.plusptype, p.ufep,
            p.pcf,         p.aic,           p.df,     p.ss,  p.sss,       p.mq};
}

struct Header {
    const char* name;
    const char* bits;  // behind the start code
    Fields fields;
    const char* diagnostics;
};

// TR 00000101, then PTYPE or PLUSPTYPE and the fields behind it, spaced as the standard divides them.
// clang-format off
const Header kHeaders[] = {
    {"intra_qcif", "00000101 10 000 010 0 0000 01101 0 0", {.source_format = 2, .pquant = 13}, ""},
    {"inter_cif_with_cpm_and_psbi", "00000101 10 000 011 1 0000 11111 1 01 0",
     {.coding_type = 1, .source_format = 3, .pquant = 31, .cpm = 1}, ""},
    {"three_psupp_bytes", "00000101 10 000 001 0 0000 00001 0 1 11111111 1 00000000 1 10101010 0",
     {.source_format = 1, .pquant = 1}, ""},
    {"unsupported_modes_are_told_and_walked", "00000101 11 000 010 1 1111 00100 0 0",
     {.coding_type = 1, .source_format = 2, .pquant = 4}, "1 2 3 4 5 "},
    {"plusptype_slices_deblocking_quantization",
     "00000101 10 000 111 001 010 0 000 1 1 1 00 0 1 1000 001 000001 0 11 00110 0",
     {.coding_type = 1, .source_format = 2, .pquant = 6, .plusptype = 1, .ufep = 1, .aic = 1, .df = 1,
      .ss = 1, .sss = 3, .mq = 1},
     ""},
    {"plusptype_with_every_unsupported_mode",
     "00000101 10 000 111 001 011 1 111 0 0 0 11 1 0 1001 111 000001 1 10 00110 0",
     {.coding_type = 7, .source_format = 3, .pquant = 6, .cpm = 1, .plusptype = 1, .ufep = 1, .pcf = 1},
     "2 3 4 6 7 8 9 10 "},
    {"ufep_0_tells_no_format", "00000101 10 000 111 000 001 000001 0 00111 0",
     {.coding_type = 1, .source_format = 7, .pquant = 7, .plusptype = 1}, ""},
    {"ufep_above_1", "00000101 10 000 111 010 000 000001 0 00111 0",
     {.source_format = 7, .pquant = 7, .plusptype = 1, .ufep = 2}, "11 "},
    // The format of 16CIF (5), not the custom one (6), is followed by CPFMT, here with an extended aspect
    // ratio.
    {"sixteen_cif_skips_the_custom_format_fields",
     "00000101 10 000 111 001 101 0 000 0 0 0 00 0 0 1000 000 000001 0 1111 0000000001000000010 "
      "0000000100000001 01000 0",
     {.source_format = 5, .pquant = 8, .plusptype = 1, .ufep = 1}, ""},
    {"sixteen_cif_without_extended_aspect_ratio",
     "00000101 10 000 111 001 101 0 000 0 0 0 00 0 0 1000 000 000001 0 0010 0000000001000000010 01000 0",
     {.source_format = 5, .pquant = 8, .plusptype = 1, .ufep = 1}, ""},
    {"custom_format_does_not", "00000101 10 000 111 001 110 0 000 0 0 0 00 0 0 1000 000 000001 0 00100 0",
     {.source_format = 6, .pquant = 4, .plusptype = 1, .ufep = 1}, ""},
    {"custom_clock_fields_are_not_skipped",
     "00000101 10 000 111 001 010 1 000 0 0 0 00 0 0 1000 000 000001 0 10110 0",
     {.source_format = 2, .pquant = 22, .plusptype = 1, .ufep = 1, .pcf = 1}, ""},
};
// clang-format on

// "h263 parse error N" lines as "N ".
std::string numbers_of(std::string printed) {
    printed = printed.substr(0, printed.find("\nPicture Header"));
    const std::string_view line = "h263 parse error ";
    for (size_t at; (at = printed.find(line)) != std::string::npos;)
        printed.erase(at, line.size());
    for (char& c : printed)
        c = c == '\n' ? ' ' : c;
    return printed;
}

// The start code is taken on trust. Cut anywhere, a header consumes nothing and is not counted.
TEST(PictureHeader, IsReadToItsLastBit) {
    for (const Header& header : kHeaders) {
        SCOPED_TRACE(header.name);
        const BitWriter writer = BitWriter().bits("10110").number(0x3FFFFF, 22).bits(header.bits);
        Walker walker(writer.bytes());
        walker.pos = {0, 5};
        walker.state.verbose = 1;
        walker.state.gob.gquant = walker.state.slice.squant = walker.state.mb.cbpy = 9;
        const std::string printed = printed_by([&] { walker.call(tbq_picture_header_parse); });
        EXPECT_EQ(walker.err, 0);
        EXPECT_EQ(walker.pos, bit_position(writer.count()));
        EXPECT_EQ(walker.state.picture.tr, 5U);
        EXPECT_EQ(walker.state.picture.valid + walker.state.picture.first_segment, 2U);
        EXPECT_EQ(fields_of(walker.state.picture), header.fields);
        EXPECT_EQ(walker.state.gob.gquant + walker.state.slice.squant + walker.state.mb.cbpy, 0U);
        EXPECT_EQ(numbers_of(printed), header.diagnostics);
        at_every_cut(std::string(kStartCode) + header.bits, [](Walker& cut) {
            cut.call(tbq_picture_header_parse);
            EXPECT_EQ(cut.state.picture.valid + cut.state.picture_number, 0U);
        });
    }
}

TEST(PictureHeaderState, SssOutlivesThePictureAndNothingElseDoes) {
    const Header& with_slices = kHeaders[4];
    const Header& ufep_0 = kHeaders[6];
    Walker walker(
        BitWriter().bits(kStartCode).bits(with_slices.bits).bits(kStartCode).bits(ufep_0.bits).bytes());
    walker.call(tbq_picture_header_parse);
    walker.call(tbq_picture_header_parse);
    Fields expected = ufep_0.fields;
    expected.sss = 3;
    EXPECT_EQ(fields_of(walker.state.picture), expected);
}

TEST(PictureHeaderState, APictureCountsOnceAndTheOneAtTheStartOfTheStreamNot) {
    const Bytes bytes = BitWriter().bits(kStartCode).bits(kHeaders[0].bits).bytes();
    Walker walker(bytes);
    for (const auto& [offset, number] :
         {std::pair(0UL, 0U), {100UL, 1U}, {100UL, 1U}, {200UL, 2U}, {100UL, 3U}}) {
        walker.pos = {};
        walker.state.base_offset = offset;
        walker.call(tbq_picture_header_parse);
        EXPECT_EQ(walker.state.picture_number, number) << offset;
    }
}

// The fields of the picture that a segment header hangs on.
struct Mode {
    unsigned first_segment = 0, source_format = 0, cpm = 0, ss = 0, sss = 0;
};

void set_mode(tbq_picture_info_t& picture, const Mode& mode) {
    std::tie(picture.first_segment, picture.source_format, picture.cpm, picture.ss, picture.sss) =
        std::tie(mode.first_segment, mode.source_format, mode.cpm, mode.ss, mode.sss);
}

struct Segment {
    const char* name;
    Mode mode;
    const char* bits;
    unsigned long consumed;
    std::string printed;
};

const std::string kStart = "  Start byte         = 0x1000\n  Start bit          = 0\n";
const std::string kGobText = "\nGOB Information:\n" + kStart +
                             "  Group number       = 9\n  GOB frame ID       = 2\n"
                             "  GQUANT             = 0x1f\n";
const std::string kSliceHead = "\nSLICE Information:\n" + kStart + "  SQUANT             = ";
const std::string kSliceText = kSliceHead + "0x15\n";
const std::string kFirstSliceText = kSliceHead + "0x0\n";

// clang-format off
const Segment kSegments[] = {
    {"gob", {.cpm = 0}, "0000 0000 0000 0000 1 01001 10 11111", 29, kGobText},
    {"gob_with_gsbi", {.cpm = 1}, "0000 0000 0000 0000 1 01001 01 10 11111", 31, kGobText},
    {"first_gob_has_no_header", {.first_segment = 1}, "0000 0000 0000 0000 1 01001 10 11111", 0, ""},
    // One bits up to a zero, SEPB1, MBA, SQUANT, SEPB3.
    {"slice_sub_qcif", {.source_format = 1, .ss = 1}, "1110 1 000000 10101 1", 17, kSliceText},
    {"slice_with_ssbi", {.source_format = 2, .cpm = 1, .ss = 1}, "0 1 0000 0000000 10101 1", 19, kSliceText},
    {"rectangular_slice_cif", {.source_format = 3, .ss = 1, .sss = 2}, "0 1 000000000 10101 00000 1", 22,
     kSliceText},
    {"slice_4cif_with_cpm_has_sepb2", {.source_format = 4, .cpm = 1, .ss = 1},
     "0 1 0000 00000000000 1 10101 1", 24, kSliceText},
    {"slice_16cif_has_sepb2", {.source_format = 5, .ss = 1, .sss = 1}, "0 1 0000000000000 1 10101 1", 22,
     kSliceText},
    {"slice_of_no_format", {.source_format = 7, .ss = 1, .sss = 2}, "0 0 00000000000000 0 10101 0000000 0",
     30,
     "h263 parse error 17\nh263 parse error 20\nh263 parse error 18\nh263 parse error 19\n" + kSliceText},
    {"first_slice", {.first_segment = 1, .source_format = 5, .cpm = 1, .ss = 1}, "1 0000000000000 1", 15,
     kFirstSliceText},
    {"first_rectangular_slice_has_sepb2", {.first_segment = 1, .source_format = 1, .ss = 1, .sss = 2},
     "1 000000 1 0000 1", 13, kFirstSliceText},
};
// clang-format on

TEST(SegmentHeader, IsReadByTheModeOfThePicture) {
    for (const Segment& segment : kSegments) {
        SCOPED_TRACE(segment.name);
        Walker walker(BitWriter().bits(segment.bits).number(0, 32).bytes());
        set_mode(walker.state.picture, segment.mode);
        walker.state.base_offset = 0x1000;
        walker.state.gob.mb_count = walker.state.mb.cbpy = 5;
        walker.state.verbose = 1;
        EXPECT_EQ(printed_by([&] { walker.call(tbq_segment_header_parse); }), segment.printed);
        EXPECT_EQ(walker.pos, bit_position(segment.consumed));
        EXPECT_EQ(walker.err, 0);
        const bool read = segment.consumed != 0;
        EXPECT_EQ(walker.state.gob.mb_count, segment.mode.ss == 0 && read ? 0U : 5U);
        EXPECT_EQ(walker.state.mb.cbpy, read ? 0U : 5U);
        EXPECT_EQ(walker.state.picture.first_segment, read ? 0U : 1U);
        if (!read) continue;
        at_every_cut(segment.bits, [&](Walker& cut) {
            set_mode(cut.state.picture, segment.mode);
            cut.call(tbq_segment_header_parse);
            EXPECT_EQ(cut.state.gob.valid + cut.state.slice.valid, 0U);
            EXPECT_EQ(cut.state.picture.first_segment, segment.mode.first_segment);
        });
    }
}

// A field that the data's end cuts off reads as 0, and these two tell of that.
TEST(Diagnostics, OfTheOpptypeMarkerAndTheSliceAddressComeOfMissingDataToo) {
    Walker walker(BitWriter().bits("001 010 00").bytes());
    walker.state.verbose = 1;
    EXPECT_EQ(printed_by([&] { walker.call(tbq_plusptype_parse); }), "h263 parse error 9\n");
    EXPECT_EQ(walker.err, 1);
    walker.err = 0;
    walker.state.picture.source_format = 0;
    walker.pos = {1, 0};
    EXPECT_EQ(printed_by([&] { walker.call(tbq_slice_header_parse); }), "h263 parse error 20\n");
}

TEST(Print, EveryFieldOfAPicture) {
    Walker walker(BitWriter().bits("1").bits(kStartCode).bits(kHeaders[4].bits).bytes());
    walker.state.verbose = 1;
    walker.state.base_offset = 0x1'0000'00AB;  // positions are cut to 32 bits
    walker.pos = {0, 1};
    EXPECT_EQ(printed_by([&] { walker.call(tbq_picture_header_parse); }),
              "\nPicture Header: picture 1 start byte 0xab bit 1\n"
              "  TR                 = 5\n"
              "  Coding type        = 1 (P-picture)\n"
              "  Source format      = 2 (QCIF)\n"
              "  PQUANT             = 6\n"
              "  CPM                = 0\n"
              "  PEI                = 0\n"
              "  PLUSPTYPE          = 1\n"
              "  UFEP               = 1\n"
              "  PCF (custom clock) = 0\n"
              "  AIC                = 1\n"
              "  DF                 = 1\n"
              "  SS                 = 1 (Slice structured mode)\n"
              "  SSS                = 3\n"
              "  MQ                 = 1\n"
              "  Clock conv. code   = 0\n"
              "  Clock divisor      = 0\n");
}

}  // namespace
}  // namespace qlip_test
