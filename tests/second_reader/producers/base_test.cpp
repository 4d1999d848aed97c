#include "tests/second_reader/producers/producer_rig.h"

namespace qlip_test {
namespace {

TEST(HintHeader, EndsBehindItsExtraInformation) {
    // With a length word alone, with 5 bytes behind it, and without: all flags but that one move nothing.
    for (const auto& [bytes, end] : {std::pair("00000001 00A2 0102 0004 0003 00000004 55", 16),
                                     {"00000001 00A2 0102 0004 0003 00000009 AABBCCDDEE", 21},
                                     {"00000001 00A2 0102 FFFB 0003 00000009", 12}}) {
        const Bytes header = hex(bytes);
        const unsigned char* cursor = header.data();
        _TAG_RTPpacket3gp packet;
        PropFile::GetRTPpacket3gp(&packet, &cursor);
        EXPECT_EQ(cursor - header.data(), end);
    }
}

TEST(Padding, ReachesTheNextMultipleOfFour) {
    PropFileAudio producer(nullptr);
    for (const auto& [size, padding] : {std::pair(0U, 0U), {5, 3}, {8, 0}, {0xFFFFFFFF, 1}})
        EXPECT_EQ(producer.GetPadding(size), padding);
}

TEST(FixedPoint, CountsHundredthsAndIsDefinedWhereTheNumberIsOutOfRange) {
    for (const auto& [value, fixed] : {std::pair(30.0, 0x001E0000U),
                                       {29.97, 0x001D0061},
                                       {0.004, 0},
                                       {0.005, 1},
                                       {0.999, 0x00010000},
                                       {1e300, 0},
                                       {-1.51, 0xFFFFFFCE}})  // -150 hundredths: -1 and -50
        EXPECT_EQ(PropFile::To1616(value), fixed) << value;
}

TEST(ReadingOff, TakesExactlyWhatIsThere) {
    PropFileAudio producer(nullptr);
    auto params = amr_params();
    ASSERT_TRUE(producer.Open(&params));
    producer.OffsetBytes(60);
    EXPECT_EQ(message_of([&] { producer.OffsetBytes(9); }),
              "Invalid offset - 9 bytes requested, 8 available");
    EXPECT_EQ(producer.ByteCount(), 8U);
    EXPECT_EQ(producer.GetBuffer(nullptr), producer.m_pBuffer + 60);
    producer.OffsetBytes(8);
    EXPECT_EQ(producer.ByteCount(), 0U);
    producer.Close();
    EXPECT_EQ(producer.ByteCount(), 0U);
    EXPECT_EQ(producer.GetBuffer(nullptr), nullptr);
}

}  // namespace
}  // namespace qlip_test
