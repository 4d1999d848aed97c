// H.263 and MPEG-4 frames as packet records.
#include "tests/stream/packets.h"

namespace qlip_test {
namespace {

const Bytes kPBit{4, 0};
const Bytes kNoPBit{0, 0};

Bytes with_pairs(Bytes frame, std::initializer_list<size_t> zeros) {
    for (const size_t at : zeros)
        frame.at(at) = 0;
    return frame;
}

TEST(VideoPackets, PictureStartCodeBecomesThePBit) {
    wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
    const Bytes rest = filled(998, 0x55);
    const Result made = packetise(wld_video_packet, native, join({{0, 0}, rest}), 0.1);
    EXPECT_EQ(made.bytes, records({{34, true, 0, 0, join({kPBit, rest})}}));
    EXPECT_EQ(native.packet_count, 1u);
}

TEST(VideoPackets, WithoutStartCodesCutsFillTheRoom) {
    wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
    const Bytes frame = filled(3000, 0x55);
    const Result made = packetise(wld_video_packet, native, frame, 0.1);
    EXPECT_EQ(made.bytes, records({{34, false, 0, 0, join({kNoPBit, part(frame, 0, 1398)})},
                                   {34, false, 1, 0, join({kNoPBit, part(frame, 0, 1398)})},
                                   {34, true, 2, 0, join({kNoPBit, part(frame, 0, 204)})}}));
    EXPECT_EQ(native.packet_count, 3u);
}

TEST(VideoPackets, H263CutsAtTheLastStartCodeAndMpeg4KeepsItsZeros) {
    const Bytes frame = with_pairs(filled(2000, 0x55), {600, 601, 1200, 1201});

    wld_native h263 = native_for(ISO_CODEC_S263, WLD_RFC_2429);
    EXPECT_EQ(packetise(wld_video_packet, h263, frame, 0.1).bytes,
              records({{34, false, 0, 0, join({kNoPBit, part(frame, 0, 1200)})},
                       {34, true, 1, 0, join({kPBit, part(frame, 1202, 798)})}}));

    wld_native mpeg4 = native_for(ISO_CODEC_MP4V);
    EXPECT_EQ(packetise(wld_video_packet, mpeg4, frame, 0.1).bytes,
              records({{102, false, 0, 0, part(frame, 0, 1200)}, {102, true, 1, 0, part(frame, 1200, 800)}}));
}

// Where the first cut of a 200-byte MPEG-4 frame falls with a room of 100, by the zero bytes in it.
struct CutCase {
    const char* name;
    std::vector<size_t> zeros;
    size_t cut;
};

class FirstCut : public testing::TestWithParam<CutCase> {};

TEST_P(FirstCut, Falls) {
    Bytes frame = filled(200, 0x55);
    for (const size_t at : GetParam().zeros)
        frame.at(at) = 0;
    wld_native native = native_for(ISO_CODEC_MP4V);
    native.max_payload = 100;
    const Result made = packetise(wld_video_packet, native, frame, 0.1);
    EXPECT_EQ(part(made.bytes, 0, 20 + GetParam().cut),
              records({{102, false, 0, 0, part(frame, 0, GetParam().cut)}}));
}

INSTANTIATE_TEST_SUITE_P(
    VideoPackets, FirstCut,
    testing::Values(CutCase{"NotWithinTheFirstEightBytes", {5, 6}, 100},
                    CutCase{"NotAtAPairThatBeginsInByteSeven", {7, 8}, 100},
                    CutCase{"AtByteEight", {8, 9}, 8},  //
                    CutCase{"AtTheLastPairInTheRoom", {98, 99}, 98},
                    CutCase{"NotAtAPairThatEndsBehindTheRoom", {99, 100}, 100},
                    CutCase{"ASingleZeroIsNoPair", {50, 52}, 100},
                    CutCase{"ThreeZerosHoldOnePair", {50, 51, 52}, 50},
                    CutCase{"FourZerosHoldTwo", {50, 51, 52, 53}, 52},
                    CutCase{"PairsCountFromWhereTheWalkEntersTheRun", {5, 6, 7, 8, 9, 10, 11, 12}, 10}),
    [](const auto& test) { return test.param.name; });

TEST(VideoPackets, ARecordThatDoesNotFitEndsWithFailureAndNothingBeyondTheBuffer) {
    const Bytes frame = filled(3000, 0x55);
    for (const int out_size : {0, 19, 1419, 1420, 2000, 3060 - 1}) {
        wld_native native = native_for(ISO_CODEC_MP4V);
        EXPECT_EQ(packetise(wld_video_packet, native, frame, 0.1, out_size).result, -1) << out_size;
        EXPECT_EQ(native.packet_count, out_size < 1420 ? 0u : 1u + (out_size >= 2840)) << out_size;
    }
    wld_native native = native_for(ISO_CODEC_MP4V);
    EXPECT_EQ(packetise(wld_video_packet, native, frame, 0.1, 3060).result, 3060);
}

TEST(VideoPackets, NothingComesOfNoInputButTimePasses) {
    for (const int in_size : {0, -2}) {
        wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
        EXPECT_EQ(wld_video_packet(nullptr, 0, nullptr, in_size, 0.5, &native), 0);
        EXPECT_EQ(native.time_accumulator, 45000.0);
    }
}

TEST(VideoPackets, TwoZeroBytesAloneMakeAnEmptyPictureSegment) {
    wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
    EXPECT_EQ(packetise(wld_video_packet, native, {0, 0}, 0.1).bytes, records({{34, true, 0, 0, kPBit}}));
}

TEST(VideoPackets, APayloadWithoutRoomFailsAtOnce) {
    for (const int room : {0, -5, -2147483647 - 1}) {
        wld_native native = native_for(ISO_CODEC_S263, WLD_RFC_2429);
        native.max_payload = room;
        EXPECT_EQ(packetise(wld_video_packet, native, filled(10, 1), 0.1).result, -1);
    }
}

TEST(VideoPackets, TimestampsRoundAndWrapBelowTwoToThe32) {
    wld_native native = native_for(ISO_CODEC_MP4V);
    const Bytes one{1};
    const auto next = [&] { return packetise(wld_video_packet, native, one, 1.0 / 32).bytes; };
    EXPECT_EQ(next(), records({{102, true, 0, 0, one}}));  // a frame has 2812.5 ticks
    EXPECT_EQ(next(), records({{102, true, 1, 2813, one}}));
    native.time_accumulator = 4294966000.5;  // + 2812.5 = 4294968813, less 4294967295
    native.rtp.sequence = 65535;
    EXPECT_EQ(next(), records({{102, true, 65535, 4294966001, one}}));
    EXPECT_EQ(next(), records({{102, true, 0, 1518, one}}));
    native.time_accumulator = 4294967295.5;  // not above the limit: rounds up to 2^32, which is 0 in 32 bits
    EXPECT_EQ(next(), records({{102, true, 1, 0, one}}));
}

TEST(VideoPackets, CutsAreToldOnStderrWhenAsked) {
    const Bytes frame = with_pairs(filled(3000, 0x55), {1200, 1201});
    wld_native native = native_for(ISO_CODEC_MP4V, 0, static_cast<int>(WLD_FLAG_VERBOSE));
    testing::internal::CaptureStderr();
    packetise(wld_video_packet, native, frame, 0.1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Fragmenting payload: old_len=3000 new_len=1200, at start code\n"
              "Fragmenting payload: old_len=1800 new_len=1400, at arbitrary position\n");
}

TEST(WldNative, TracksWithoutAPacketiserFailPerPacketAndUnknownOnesAtInit) {
    iso_track track{};
    for (const int codec :
         {ISO_CODEC_MP4A, ISO_CODEC_SAWP, static_cast<iso_codec>(6), ISO_CODEC_RTP, ISO_CODEC_NONE}) {
        track.codec = codec;
        const bool known = codec == ISO_CODEC_MP4A || codec == ISO_CODEC_SAWP;
        wld_native native{};
        EXPECT_EQ(wld_native_init(&native, 0, 1400, 0, &track, 0), known ? 0 : -1);
        EXPECT_EQ(native.packetise, nullptr);
        EXPECT_EQ(packetise(wld_native_packet, native, {1, 2, 3}, 1.0).result, -1);
    }
}

TEST(WldNative, ThePacketSizeCountsForH264Alone) {
    for (const int codec : {ISO_CODEC_MP4V, ISO_CODEC_S263, ISO_CODEC_SAMR, ISO_CODEC_SAWB}) {
        EXPECT_EQ(native_for(codec, 0, 0, 500).max_payload, 1400);
    }
    EXPECT_EQ(native_for(ISO_CODEC_AVC1, 0, 0, 500).max_payload, 500);
}

}  // namespace
}  // namespace qlip_test
