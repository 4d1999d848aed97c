// AMR frame layouts and the conversions between them.
#include <gtest/gtest.h>

#include <random>

#include "qlip/amr_isoff.h"
#include "tests/support/box_builder.h"

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

}  // namespace
}  // namespace qlip_test
