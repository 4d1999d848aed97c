// AMR input as packet records.
#include "tests/packets/packets.h"

namespace qlip_test {
namespace {

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
