#include "tests/propfile/producer_rig.h"

namespace qlip_test {
namespace {

constexpr unsigned int kSpeech = 0x14;  // table of contents of frame type 2
constexpr unsigned int kNoData = 0x7C;  // of frame type 15

// One packet with an octet-aligned payload of `bytes` bytes: mode request, table of contents, speech.
HintPacket packet(unsigned int sequence, unsigned int contents, unsigned int bytes = 3) {
    Bytes payload(bytes, 0x55);
    payload.at(0) = 0xF0;
    payload.at(1) = static_cast<unsigned char>(contents);
    return {.sequence = sequence, .constructors = {hint_immediate(payload)}};
}

Bytes frame_header(unsigned int payload, unsigned int ticks, unsigned int sequence, unsigned int talk_spurt) {
    return StreamBytes().u32(24 + payload).u32(10).u32(ticks).u32(ticks).u16(sequence).u16(talk_spurt).u32(0);
}

class AudioProducer : public ::testing::Test {
  protected:
    AudioProducer() { producer.Open(&params); }

    unsigned int talk_spurt_flag() { return producer.m_pBuffer[18]; }

    ReaderStub reader;
    PropFileAudio producer{&reader};
    _TAG_AUDIO_OPEN_PARAMS params = amr_params();
};

TEST_F(AudioProducer, OpensWithTheStreamHeader) {
    const Bytes expected =
        join({ByteWriter().text("AUDIO   "), hex("44000000 0A000000 00000000 3D000000"),
              hex("10000000 21000000 40000000 00000000"), Bytes(12), hex("D2040000"), Bytes(12)});
    EXPECT_EQ(waiting(producer), expected);
    producer.OffsetBytes(10);
    ASSERT_TRUE(producer.Open(&params)) << "a second time";
    EXPECT_EQ(waiting(producer), expected);
}

TEST_F(AudioProducer, MergesThePacketsOfAHintSampleIntoOneFrame) {
    const Bytes hint = hint_sample({packet(0x1234, kSpeech), packet(0x1235, kSpeech, 5)});
    ASSERT_EQ(reader.build(producer, hint, 0.0204), std::nullopt);
    EXPECT_EQ(waiting(producer), join({frame_header(8, 160, 0x1235, 0), hex("F01455 F014555555")}));
}

TEST_F(AudioProducer, TakesPayloadFromTheMediaSample) {
    reader.show_media(hex("1455667788"), 3, 9);
    const Bytes hint =
        hint_sample({{.sequence = 1,
                      .constructors = {hint_immediate({0xF0}), hint_no_data(), hint_sample_data(4, 3, 1),
                                       hint_sample_data(0, 3, 5)}}});
    ASSERT_EQ(reader.build(producer, hint), std::nullopt);
    EXPECT_EQ(waiting(producer), join({frame_header(5, 0, 1, 0), hex("F0 55667788")}));
}

TEST_F(AudioProducer, RoundsTimeToMillisecondsBeforeTicks) {
    const Bytes hint = hint_sample({packet(0, kSpeech)});
    reader.build(producer, hint, 0.0205);
    EXPECT_EQ(waiting(producer), join({frame_header(3, 168, 0, 0), hex("F01455")}));
    reader.build(producer, hint, 536870.912);  // 2^32 ticks: the timestamp wraps
    EXPECT_EQ(waiting(producer), join({frame_header(3, 0, 0, 0), hex("F01455")}));
}

TEST_F(AudioProducer, FlagsSpeechAfterNoData) {
    std::vector<unsigned int> flags;
    for (const unsigned int contents : {kNoData, kNoData, kSpeech, kSpeech, kNoData, kSpeech}) {
        reader.build(producer, hint_sample({packet(0, contents)}));
        flags.push_back(talk_spurt_flag());
    }
    EXPECT_THAT(flags, ::testing::ElementsAre(0, 0, 1, 0, 0, 1));
}

TEST_F(AudioProducer, WaitForMediaLeavesNoFrameAndForgetsItsFrameType) {
    reader.build(producer, hint_sample({packet(0, kNoData)}));
    reader.show_media({}, 1);
    const Bytes waits = hint_sample({packet(1, kSpeech), {.constructors = {hint_sample_data(1, 1, 0)}}});
    EXPECT_EQ(reader.build(producer, waits), std::nullopt);
    EXPECT_EQ(producer.ByteCount(), 0U);
    reader.build(producer, hint_sample({packet(2, kSpeech)}));
    EXPECT_EQ(talk_spurt_flag(), 1U);
}

TEST_F(AudioProducer, SampleDescriptionsAndUnknownKindsAddNothing) {
    const Bytes description = ByteWriter().u8(3).zeros(15);
    const Bytes unknown = ByteWriter().u8(9);  // moves the cursor by its own byte only
    const Bytes hint = hint_sample(
        {{.constructors = {description, unknown, unknown, hint_immediate(hex("F014")), description}}});
    ASSERT_EQ(reader.build(producer, hint), std::nullopt);
    EXPECT_EQ(waiting(producer), join({frame_header(2, 0, 0, 0), hex("F014")}));
}

TEST_F(AudioProducer, ImmediateCountAboveFourteenReadsOnButEndsBehindItsSixteenBytes) {
    const Bytes greedy = ByteWriter().u8(1).u8(17).raw(Bytes(14, 0xAA));
    const Bytes hint = hint_sample({{.constructors = {greedy, hint_immediate({0xBB})}}});
    ASSERT_EQ(reader.build(producer, hint), std::nullopt);
    const Bytes payload = join({Bytes(14, 0xAA), hex("0101BB"), hex("BB")});
    EXPECT_EQ(waiting(producer), join({frame_header(18, 0, 0, 0), payload}));
}

TEST_F(AudioProducer, FrameWithoutPacketsKeepsTheWordsOfTheFrameBefore) {
    reader.build(producer, hint_sample({packet(7, kSpeech)}), 1.0);
    reader.build(producer, hint_sample({}), 2.0);
    EXPECT_EQ(waiting(producer), frame_header(0, 8000, 7, 0));
}

TEST(AudioRates, KnowTheRatesOfAmrAndNoOthers) {
    EXPECT_EQ(GetAMRCoding(12650), 0);
    EXPECT_EQ(SampleRateHZ_to_MM(6000), 48U);
    EXPECT_EQ(SampleRateHZ_to_MM(11000), 88U);
    EXPECT_EQ(SampleRateHZ_to_MM(16000), 0U);
}

}  // namespace
}  // namespace qlip_test
