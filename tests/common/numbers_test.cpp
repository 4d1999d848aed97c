#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "common/byte_order.h"
#include "common/to_integer.h"

namespace {

TEST(ToIntegerTest, TruncatesAndKeepsTheLowWord) {
    EXPECT_EQ(qlip::to_u32(1.99), 1U);
    EXPECT_EQ(qlip::to_i32(-1.99), -1);
    EXPECT_EQ(qlip::to_u32(4294967295.5), 0xFFFFFFFFU);
    EXPECT_EQ(qlip::to_u32(4294967296.0 + 5), 5U);
    EXPECT_EQ(qlip::to_u32(-1.0), 0xFFFFFFFFU);
}

TEST(ToIntegerTest, IsDefinedOutsideEveryInteger) {
    EXPECT_EQ(qlip::to_u32(1e300), 0U);
    EXPECT_EQ(qlip::to_u32(-1e300), 0U);
    EXPECT_EQ(qlip::to_i32(std::numeric_limits<double>::infinity()), 0);
    EXPECT_EQ(qlip::to_i32(std::nan("")), 0);
}

TEST(ByteOrderTest, LoadsAndStoresAreBigEndianAndUnaligned) {
    std::array<unsigned char, 8> bytes = {0xEE, 0x12, 0x34, 0x56, 0x78, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(qlip::load_be16(&bytes[1]), 0x1234);
    EXPECT_EQ(qlip::load_be24(&bytes[1]), 0x123456U);
    EXPECT_EQ(qlip::load_be32(&bytes[1]), 0x12345678U);
    qlip::store_be24(&bytes[5], 0xA1B2C3);
    EXPECT_EQ(bytes[7], 0xC3);
    qlip::store_be32(&bytes[3], 0x01020304);
    EXPECT_EQ(bytes[3], 1);
    EXPECT_EQ(bytes[6], 4);
}

// Runs of every length around the width of a register, in place and moved to the front.
TEST(ByteOrderTest, ARunIsConvertedWhereItLiesOrFurtherAhead) {
    for (size_t ahead = 0; ahead < 4; ++ahead) {
        for (size_t count = 0; count < 19; ++count) {
            std::array<unsigned char, 96> bytes;
            for (size_t i = 0; i < bytes.size(); ++i)
                bytes[i] = static_cast<unsigned char>(i * 37);
            const auto original = bytes;
            qlip::load_be32_run(&bytes[8 - ahead], &bytes[8], count);
            for (size_t i = 0; i < count; ++i)
                ASSERT_EQ(qlip::load_le32(&bytes[8 - ahead + 4 * i]), qlip::load_be32(&original[8 + 4 * i]));
            ASSERT_EQ(bytes[8 - ahead + 4 * count], original[8 - ahead + 4 * count])
                << "written beyond the run";
        }
    }
}

}  // namespace
