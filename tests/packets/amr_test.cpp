// AMR frame layouts, the conversions between them, and frames as packet records.
#include <random>

#include "qlip/amr_isoff.h"
#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

constexpr int kSpeechBits[] = {95, 103, 118, 134, 148, 159, 204, 244, 39};

// A storage frame with random speech bits and zero padding.
Bytes storage_frame(unsigned int mode, std::mt19937& random) {
    Bytes frame{static_cast<unsigned char>(mode << 3 | 4)};
    frame.resize(1 + static_cast<size_t>(kSpeechBits[mode] + 7) / 8);
    for (int i = 0; i < kSpeechBits[mode]; ++i) {
        if (random() % 2 == 0)
            frame[1 + static_cast<size_t>(i) / 8] |= static_cast<unsigned char>(0x80 >> i % 8);
    }
    return frame;
}

// The packed layout bit by bit: four bits of mode, then the speech bits, each byte filled from its low bit.
Bytes packed_by_bits(const Bytes& frame) {
    const unsigned int mode = frame[0] >> 3 & 15u;
    Bytes packed((static_cast<size_t>(kSpeechBits[mode]) + 11) / 8);
    packed[0] = static_cast<unsigned char>(mode);
    for (size_t i = 0; i < static_cast<size_t>(kSpeechBits[mode]); ++i) {
        const bool set = (frame[1 + i / 8] & 0x80 >> i % 8) != 0;
        if (set) packed[(i + 4) / 8] |= static_cast<unsigned char>(1 << (i + 4) % 8);
    }
    return packed;
}

TEST(AmrHelpers, EverySpeechModeConvertsBitByBitAndBack) {
    std::mt19937 random(26101);
    Bytes run, packed_run;
    for (unsigned int mode = 0; mode < 9; ++mode) {
        Bytes frame = storage_frame(mode, random);
        const Bytes expected = packed_by_bits(frame);
        EXPECT_EQ(amr_get_size(frame.data(), AMR_FORMAT_STORAGE), static_cast<int>(frame.size()));
        Bytes packed(expected.size());
        EXPECT_EQ(amr_get_size(Bytes(expected).data(), AMR_FORMAT_PACKED), static_cast<int>(expected.size()));
        ASSERT_EQ(amr2cod(frame.data(), packed.data()), static_cast<int>(expected.size()));
        EXPECT_EQ(packed, expected) << mode;
        Bytes back(frame.size());
        ASSERT_EQ(cod2amr(packed.data(), back.data()), static_cast<int>(frame.size()));
        EXPECT_EQ(back, frame) << mode;
        run = join({run, frame, {0x78}});
        packed_run = join({packed_run, packed, {15}});
    }
    const auto all_of = [](auto convert, Bytes from, size_t size) {
        Bytes to(size);
        EXPECT_EQ(convert(from.data(), to.data(), static_cast<int>(from.size())), static_cast<int>(size));
        return to;
    };
    EXPECT_EQ(all_of(amr1_to_amr2, run, packed_run.size()), packed_run);
    EXPECT_EQ(all_of(amr2_to_amr1, packed_run, run.size()), run);
}

TEST(AmrHelpers, RunsStopAtAFrameThatHasNoPackedFormOrIsCutShort) {
    const struct {
        int (*convert)(void*, void*, int);
        const char* run;  // a silence frame and what stops the run
    } kCases[] = {{amr1_to_amr2, "44 A1 00 00 00 02 50"},
                  {amr1_to_amr2, "44 A1 00 00 00 02 44 A1 00 00 00"},
                  {amr2_to_amr1, "58 08 00 00 00 04 0A"},
                  {amr2_to_amr1, "58 08 00 00 00 04 58 08 00 00 00"}};
    for (const auto& [convert, run] : kCases) {
        Bytes in = hex(run);
        in.shrink_to_fit();
        Bytes out(in.size() + 2, 0xEE);
        EXPECT_EQ(convert(in.data(), out.data(), static_cast<int>(in.size())), 6) << run;
        EXPECT_EQ(out[6], 0xEE) << run;
    }
}

TEST(AmrHelpers, SizesFollowTheFirstByte) {
    const struct {
        unsigned char first;
        int format, size;
    } kCases[] = {{0x3C, 1, 32}, {0x48, 1, 1}, {0x7C, 1, 1}, {0xF7, 2, 31}, {0x09, 2, 1},
                  {0x44, 3, 61}, {0x48, 3, 7}, {0x7C, 3, 1}, {0x3C, 0, -1}, {0x3C, 4, -1}};
    for (auto [first, format, size] : kCases)
        EXPECT_EQ(amr_get_size(&first, format), size) << int{first} << " " << format;
}

TEST(AmrHelpers, FormatsAreToldBySizeAndMode) {
    const struct {
        unsigned char first;
        int size, format, mode;
    } kCases[] = {{0x3C, 32, 1, 7}, {0x78, 1, 1, 15}, {0x07, 31, 2, 7},
                  {0x0F, 1, 2, 15}, {0x50, 1, -1, 0}, {0x3C, 31, -1, 12}};
    for (auto [first, size, format, mode] : kCases) {
        int told = -1;
        EXPECT_EQ(amr_get_format(&first, size, &told), format) << int{first} << " " << size;
        EXPECT_EQ(told, mode);
    }
}

const Bytes kSilence = hex("44 01 02 03 04 05");  // storage format, mode 8

// A cut frame goes out as far as it is there.
TEST(AmrPackets, OneRecordPerFrameTwentyMillisecondsApart) {
    const Bytes speech = join({{0x3C}, filled(31, 0x66)});
    wld_native native = native_for(ISO_CODEC_SAMR, 0, static_cast<int>(WLD_FLAG_AMR_STORAGE));
    EXPECT_EQ(packetise(wld_native_packet, native, join({speech, kSilence, {0x7C, 0x3C, 1, 2}}), 9.0).bytes,
              records({{101, false, 0, 0, speech},
                       {101, false, 1, 160, kSilence},
                       {101, false, 2, 320, {0x7C}},
                       {101, false, 3, 480, {0x3C, 1, 2}}}));
    EXPECT_EQ(native.packet_count, 0u);
}

TEST(AmrPackets, FormatFollowsCodecAndFlags) {
    const Bytes wideband = join({{0x04}, filled(17, 0x66)});
    wld_native wb = native_for(ISO_CODEC_SAWB, 0, static_cast<int>(WLD_FLAG_AMR_STORAGE));
    EXPECT_EQ(packetise(wld_native_packet, wb, join({wideband, {0x7C}}), 0.0).bytes,
              records({{101, false, 0, 0, wideband}, {101, false, 1, 320, {0x7C}}}));

    const Bytes packed = join({{0x08}, filled(5, 0x66)});
    wld_native nb = native_for(ISO_CODEC_SAMR);
    EXPECT_EQ(packetise(wld_native_packet, nb, join({packed, {0x0F}}), 0.0).bytes,
              records({{101, false, 0, 0, packed}, {101, false, 1, 160, {0x0F}}}));
}

TEST(AmrPackets, NoDataFramesAreLeftOutWhenAskedButTheirTimePasses) {
    const unsigned int flags = WLD_FLAG_AMR_STORAGE | WLD_FLAG_DROP_NO_DATA | WLD_FLAG_VERBOSE;
    wld_native native = native_for(ISO_CODEC_SAMR, 0, static_cast<int>(flags));
    testing::internal::CaptureStderr();
    // 0x7C has the quality bit set and stays.
    EXPECT_EQ(packetise(wld_native_packet, native, join({kSilence, {0x78, 0x7C}}), 0.0).bytes,
              records({{101, false, 0, 0, kSilence}, {101, false, 1, 320, {0x7C}}}));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "   removing \"no data\" amr frame, time=160\n");
}

TEST(AmrPackets, RoomIsAskedForTheInputAndTwelveAndThenHeldPerRecord) {
    const Bytes frames = join({kSilence, kSilence});  // 2 x 26 bytes as records
    for (const int out_size : {0, 23, 24, 51}) {
        wld_native native = native_for(ISO_CODEC_SAMR, 0, static_cast<int>(WLD_FLAG_AMR_STORAGE));
        EXPECT_EQ(packetise(wld_native_packet, native, frames, 0.0, out_size).result, -1);
        EXPECT_EQ(native.rtp.sequence, out_size < 26 ? 0u : 1u);
        EXPECT_EQ(native.time_accumulator, out_size < 24 ? 0.0 : out_size < 26 ? 160.0 : 320.0);
    }
}

}  // namespace
}  // namespace qlip_test
