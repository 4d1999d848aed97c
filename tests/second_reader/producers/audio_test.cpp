#include "tests/second_reader/producers/producer_rig.h"

namespace qlip_test {
namespace {

constexpr unsigned int kSpeech = 0x14;  // table of contents of frame type 2
constexpr unsigned int kNoData = 0x7C;  // of frame type 15

// One packet with an octet-aligned payload: mode request, table of contents, `speech`.
HintPacket packet(unsigned int sequence, unsigned char contents, const Bytes& speech = {0x55}) {
    return {.sequence = sequence, .constructors = {hint_immediate(join({{0xF0, contents}, speech}))}};
}

// A frame record without the talk spurt flag.
Bytes frame(unsigned int ticks, unsigned int sequence, const Bytes& payload) {
    return join({words({24 + length_of(payload), 10, ticks, ticks, sequence, 0}), payload});
}

class AudioProducer : public ::testing::Test, protected Producers {
  protected:
    Bytes built(const std::vector<HintPacket>& packets, double seconds = 0.0) {
        return Producers::built(audio, hint_sample(packets), seconds);
    }
    unsigned int talk_spurt_flag(const Bytes& bytes) { return bytes.at(18) | bytes.at(19) << 8; }
};

TEST_F(AudioProducer, OpensWithTheStreamHeader) {
    const Bytes expected = join({ByteWriter().text("AUDIO   "), words({68, 10, 0, 61, 16, 33, 64, 0}),
                                 Bytes(12), words({1234}), Bytes(12)});
    EXPECT_EQ(waiting(audio), expected);
    audio.OffsetBytes(10);
    ASSERT_TRUE(audio.Open(&audio_parameters)) << "a second time";
    EXPECT_EQ(waiting(audio), expected);
}

TEST_F(AudioProducer, IsReadOffByExactlyWhatIsThere) {
    audio.OffsetBytes(60);
    EXPECT_EQ(message_of([&] { audio.OffsetBytes(9); }), "Invalid offset - 9 bytes requested, 8 available");
    EXPECT_EQ(audio.ByteCount(), 8U);
    EXPECT_EQ(audio.GetBuffer(nullptr), audio.m_pBuffer + 60);
    audio.OffsetBytes(8);
    EXPECT_EQ(audio.ByteCount(), 0U);
    audio.Close();
    EXPECT_EQ(audio.ByteCount(), 0U);
    EXPECT_EQ(audio.GetBuffer(nullptr), nullptr);
}

TEST_F(AudioProducer, MergesThePacketsOfAHintSampleIntoOneFrame) {
    EXPECT_EQ(built({packet(0x1234, kSpeech), packet(0x1235, kSpeech, {1, 2})}, 0.0204),
              frame(160, 0x1235, hex("F01455 F0140102")));
    const unsigned char* cursor = reader.first_packet();
    audio.ProcessPacket(&cursor, 0.0204);
    EXPECT_EQ(slice(waiting(audio), 24, 10), hex("F01455 F0140102 F01455"));
    // A frame without packets keeps the words of the frame before.
    EXPECT_EQ(built({}, 2.0), frame(160, 0x1234, {}));
}

TEST_F(AudioProducer, AppendsWhatEachConstructorDelivers) {
    reader.show_media(hex("1455667788"), 3, 9);
    const Bytes description = ByteWriter().u8(3).zeros(15);
    const Bytes unknown = {9};  // moves the cursor by its own byte only
    EXPECT_EQ(built({{.constructors = {description, hint_immediate({0xF0}), unknown, unknown, hint_no_data(),
                                       hint_sample_data(4, 3, 1), hint_sample_data(0, 3, 5)}}}),
              frame(0, 0, hex("F0 55667788")));
}

TEST_F(AudioProducer, ImmediateCountAboveFourteenReadsOnButEndsBehindItsSixteenBytes) {
    const Bytes greedy = ByteWriter().u8(1).u8(17).raw(Bytes(14, 0xAA));
    EXPECT_EQ(built({{.constructors = {greedy, hint_immediate({0xBB})}}}),
              frame(0, 0, join({Bytes(14, 0xAA), hex("0101BB"), hex("BB")})));
}

TEST_F(AudioProducer, RoundsTimeToMillisecondsBeforeTicks) {
    EXPECT_EQ(built({packet(0, kSpeech)}, 0.0205), frame(168, 0, hex("F01455")));
    // 2^32 ticks: the timestamp wraps
    EXPECT_EQ(built({packet(0, kSpeech)}, 536870.912), frame(0, 0, hex("F01455")));
}

TEST_F(AudioProducer, FlagsSpeechAfterNoData) {
    std::vector<unsigned int> flags;
    for (const unsigned int contents : {kNoData, kNoData, kSpeech, kSpeech, kNoData, kSpeech})
        flags.push_back(talk_spurt_flag(built({packet(0, static_cast<unsigned char>(contents))})));
    EXPECT_THAT(flags, ::testing::ElementsAre(0, 0, 1, 0, 0, 1));
}

TEST_F(AudioProducer, WaitForMediaLeavesNoFrameAndForgetsItsFrameType) {
    built({packet(0, kNoData)});
    reader.show_media({});
    EXPECT_EQ(built({packet(1, kSpeech), {.constructors = {hint_sample_data(1, 1, 0)}}}), Bytes{});
    EXPECT_EQ(talk_spurt_flag(built({packet(2, kSpeech)})), 1U);
}

TEST(AudioRates, KnowTheRatesOfAmrAndNoOthers) {
    EXPECT_EQ(GetAMRCoding(12650), 0);
    EXPECT_EQ(SampleRateHZ_to_MM(6000), 48U);
    EXPECT_EQ(SampleRateHZ_to_MM(11000), 88U);
    EXPECT_EQ(SampleRateHZ_to_MM(16000), 0U);
}

}  // namespace
}  // namespace qlip_test
