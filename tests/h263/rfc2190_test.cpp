#include <string>

#include "tests/h263/walk_support.h"
#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

constexpr double kSeconds = 0.1;
constexpr int kH263 = 2;

wld_native native_of(wld_rfc_mode mode, int max_payload = 1400, int flags = 0) {
    wld_native native = native_for(kH263, mode, flags);
    native.max_payload = max_payload;
    return native;
}

Result cut(wld_native& native, const Bytes& picture) {
    return packetise(wld_video_packet, native, picture, kSeconds,
                     static_cast<int>(2 * picture.size()) + 1000);
}

Bytes header(std::string_view bits) {
    return BitWriter().bits(bits).bytes();
}

constexpr const char* kIntraHeader = "0000 0000 0000 0000 1 00000 00000101 10 000 010 0 0000 01101 0 0";
constexpr const char* kInterHeader = "0000 0000 0000 0000 1 00000 00000101 10 000 010 1 0000 01101 0 0";
constexpr const char* kIntraMb = "1 0011 10000001 10000010 10000011 10000100 10000101 10000110";
constexpr const char* kIntraMbInP = "0 00011 0011 10000001 10000010 10000011 10000100 10000101 10000110";

// A macroblock whose first block has 200 coefficients, and no last one.
BitWriter& add_endless_macroblock(BitWriter& writer) {
    writer.bits("011 11 10000000");
    for (int i = 0; i < 200; ++i)
        writer.bits("100");
    return writer;
}

// 50 bits of picture header, then macroblocks of 53 bits: at 50, 103, 156, 209, 262, 315; the end at 368.
Bytes six_macroblocks() {
    BitWriter writer = BitWriter().bits(kIntraHeader);
    for (int i = 0; i < 6; ++i)
        writer.bits(kIntraMb);
    return writer.bytes();
}

// A room of 20 bytes reaches into the macroblock at bit 156 (19.4), 16 bytes more into the one at 262 (32.6).
TEST(Rfc2190Mb, CutsInFrontOfTheMacroblockThatDoesNotFit) {
    const Bytes picture = six_macroblocks();
    wld_native native = native_of(WLD_RFC_2190_B, 24);
    const Bytes mode_a = {0x04, 0x40, 0, 0};
    const Bytes second =
        header("1 0 100 010 010 00000 00000 000000010 00 0 000 1100000 1100000 1100000 1100000");
    const Bytes third =
        header("1 0 110 000 010 00000 00000 000000100 00 0 000 1100000 1100000 1100000 1100000");
    EXPECT_EQ(cut(native, picture).bytes, records({{34, false, 0, 0, join({mode_a, slice(picture, 0, 20)})},
                                                   {34, false, 1, 0, join({second, slice(picture, 19, 14)})},
                                                   {34, true, 2, 0, join({third, slice(picture, 32, 14)})}}));
    EXPECT_EQ(native.packet_count, 3U);
    EXPECT_EQ(native.last_source_format, 2U);
}

TEST(Rfc2190Mb, TheHeaderTellsTheVectorsOfTheMacroblockAtTheCut) {
    BitWriter writer = BitWriter().bits(kInterHeader).bits(kIntraMbInP);  // up to bit 108
    const std::string four_vectors = "0 1 11 010 0010";                   // rows 33 and 34
    writer.bits(four_vectors).bits(kIntraMbInP).bits(kIntraMbInP);
    wld_native native = native_of(WLD_RFC_2190_B, 4 + 14);  // reaches bit 112
    const Result result = cut(native, writer.bytes());
    ASSERT_GT(result.result, 0);
    const Bytes second =
        header("1 0 100 111 010 00000 00000 000000001 00 1 000 0000001 0000010 1100000 1100000");
    EXPECT_EQ(slice(result.bytes, 20 + 4 + 14 + 20, 8), second);
}

TEST(Rfc2190Mb, ACutAtAGroupHeaderTellsTheGroup) {
    BitWriter writer = BitWriter().bits(kIntraHeader).bits(kIntraMb);  // up to bit 103
    writer.bits("0000 0000 0000 0000 1 00110 01 01111")
        .bits(kIntraMb)
        .bits(kIntraMb);  // at 132, 185; end 238
    wld_native native = native_of(WLD_RFC_2190_B, 24);
    const Result result = cut(native, writer.bytes());
    ASSERT_GT(result.result, 0);
    EXPECT_EQ(slice(result.bytes, 20, 1), Bytes{0x01});  // cut at 103, that is 12.7
    // At 12.7 begins the group; from there 16 bytes reach into its second macroblock, at 23.1.
    const Bytes second =
        header("1 0 111 111 010 01111 00110 000000000 00 0 000 1100000 1100000 1100000 1100000");
    const Bytes third =
        header("1 0 001 000 010 01111 00110 000000001 00 0 000 1100000 1100000 1100000 1100000");
    const size_t second_at = 20 + 4 + 13 + 20;
    EXPECT_EQ(slice(result.bytes, second_at, 8), second);
    EXPECT_EQ(slice(result.bytes, second_at + 8 + 12 + 20, 8), third);
}

// The walk runs off the end of the picture.
TEST(Rfc2190Mb, AfterAFailedWalkAllCutsFallAtTheRoomsEnd) {
    BitWriter writer = BitWriter().bits(kIntraHeader).bits(kIntraMb);
    const Bytes picture = add_endless_macroblock(writer).bytes();
    wld_native native = native_of(WLD_RFC_2190_B, 4 + 40);
    const Bytes later =
        header("1 0 000 000 010 00000 00000 000000000 00 0 000 1100000 1100000 1100000 1100000");
    ASSERT_EQ(picture.size(), 90U);
    EXPECT_EQ(cut(native, picture).bytes,
              records({{34, false, 0, 0, join({Bytes{0, 0x40, 0, 0}, slice(picture, 0, 40)})},
                       {34, false, 1, 0, join({later, slice(picture, 40, 36)})},
                       {34, true, 2, 0, join({later, slice(picture, 76, 14)})}}));
}

TEST(Rfc2190Mb, AMacroblockLongerThanARecordEndsTheCall) {
    BitWriter writer = BitWriter().bits(kIntraHeader).bits(kIntraMb);
    add_endless_macroblock(writer);
    for (int i = 0; i < 6; ++i)
        writer.bits("0111 0 10000000");
    writer.number(~0UL, 64);
    for (const auto& [room, written] : {std::pair(40, 1U), {10, 0U}}) {
        wld_native native = native_of(WLD_RFC_2190_B, 4 + room);
        EXPECT_EQ(cut(native, writer.bytes()).result, WLD_FAILED);
        EXPECT_EQ(native.rtp.sequence, written) << "the records ahead of the macroblock";
    }
}

TEST(Rfc2190Mb, TellsOfItsCuts) {
    wld_native native = native_of(WLD_RFC_2190_B, 24, static_cast<int>(WLD_FLAG_VERBOSE));
    testing::internal::CaptureStderr();
    const std::string walked = printed_by([&] { cut(native, six_macroblocks()); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Fragmenting payload: old_len=46 new_len=20, at MB boundary, ebit=4\n"
              "Fragmenting payload: old_len=27 new_len=14, at MB boundary, ebit=2\n");
    EXPECT_NE(walked.find("\nPicture Header: picture 0 start byte 0x0 bit 0\n"), std::string::npos);
}

TEST(Rfc2190, WithoutAPictureHeaderNothingIsWrittenAndWithoutFormatItTakesTheLastOne) {
    for (const wld_rfc_mode mode : {WLD_RFC_2190, WLD_RFC_2190_B}) {
        wld_native native = native_of(mode);
        native.last_source_format = 3;
        native.time_accumulator = 17.0;
        const wld_native before = native;
        EXPECT_EQ(cut(native, Bytes(3000, 0x55)).result, WLD_BAD_PICTURE);
        EXPECT_EQ(cut(native, {}).result, WLD_BAD_PICTURE);
        EXPECT_EQ(std::memcmp(&native, &before, sizeof native), 0);

        native = native_of(mode);
        const Bytes cif = {0, 0, 0x80, 0x02, 0x0C, 0xFF}, ufep_0 = {0, 0, 0x80, 0x02, 0x1C, 0x10};
        const auto header_of = [&](const Bytes& picture) { return slice(cut(native, picture).bytes, 20, 4); };
        EXPECT_EQ(header_of(ufep_0), (Bytes{0, 0x10, 0, 0}));
        EXPECT_EQ(header_of(cif), (Bytes{0, 0x60, 0, 0}));
        EXPECT_EQ(header_of(ufep_0), (Bytes{0, 0x70, 0, 0}));
    }
}

TEST(Rfc2190Plain, CutsAtStartCodesAndElseAtTheRoomsEnd) {
    Bytes picture(40, 0x77);
    std::ranges::copy(Bytes{0, 0, 0x80, 0x02, 0x0A, 0xFF}, picture.begin());
    picture[14] = picture[15] = 0;
    wld_native native = native_of(WLD_RFC_2190, 24);
    const Bytes mode_a = {0, 0x50, 0, 0};
    EXPECT_EQ(cut(native, picture).bytes, records({{34, false, 0, 0, join({mode_a, slice(picture, 0, 14)})},
                                                   {34, false, 1, 0, join({mode_a, slice(picture, 14, 20)})},
                                                   {34, true, 2, 0, join({mode_a, slice(picture, 34, 6)})}}));
}

}  // namespace
}  // namespace qlip_test
