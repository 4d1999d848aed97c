#include "tests/second_reader/producers/producer_rig.h"

namespace qlip_test {
namespace {

Bytes frame_header(unsigned int size, unsigned int packets, unsigned int padding) {
    return words({size, packets, padding, 4, 0});
}

Bytes packet_header(unsigned int size, unsigned int delta, unsigned int rtp_word, unsigned int timestamp) {
    return words({size, delta, rtp_word, timestamp, 0});
}

Bytes stream_header(unsigned int size, std::string_view name, const Bytes& config) {
    return join({ByteWriter().text("VIDEO   "), words({size, 10, 0, 44, 45000, 7, 0, 0}),
                 ByteWriter().text(name).zeros(8 - name.size()),
                 words({14 << 16, 64000, 176, 144, length_of(config)}), config, words({3000, 0, 0, 0})});
}

class VideoProducer : public ::testing::Test, protected Producers {
  protected:
    Bytes built(const Bytes& hint, double seconds = 0.0) { return Producers::built(video, hint, seconds); }
};

TEST_F(VideoProducer, OpensWithTheH263Header) {
    EXPECT_EQ(waiting(video), stream_header(92, "s263", words({3, 20})));
    PropFileVideoH263_1998 other(&reader);
    ASSERT_TRUE(other.Open(&video_parameters));
    EXPECT_EQ(waiting(other), stream_header(92, "s263+", words({3, 20})));
}

TEST(Mpeg4Header, ShowsTheConfigurationAndItsProfileBehindAStartCode) {
    for (const auto& [config, level] : {std::pair(hex("000001B008 000001B5"), 8U),
                                        {hex("000001B508"), 0},
                                        {{}, 0},
                                        {hex("000001B0"), 0},  // ends with the start code
                                        {Bytes(350, 0x11), 0}}) {
        auto params = video_params(2000, config);
        PropFileVideoMPEG4 producer(nullptr);
        ASSERT_TRUE(producer.Open(&params));
        const Bytes size = {static_cast<unsigned char>(config.size()),
                            static_cast<unsigned char>(config.size() >> 8)};
        EXPECT_EQ(
            waiting(producer),
            stream_header(440, "mp4v", join({words({level}), config, Bytes(350 - config.size()), size})));
    }
}

TEST_F(VideoProducer, KeepsPacketsApartWithoutGap) {
    reader.show_media(hex("AABBCCDDEE"));
    const Bytes hint = hint_sample(
        {{.sequence = 0xFFFF,
          .constructors = {hint_immediate({1}), hint_sample_data(2, 1, 0)},
          .extra = hex("DEADBEEF")},
         {.sequence = 0, .marker = true, .constructors = {hint_no_data(), hint_sample_data(2, 1, 3)}}});
    EXPECT_EQ(built(hint), join({frame_header(68, 2, 3), packet_header(23, 0, 0x8060FFFF, 0), hex("01AABB"),
                                 packet_header(22, 0, 0x80E00000, 0), hex("DDEE"), Bytes(3)}));
    EXPECT_EQ(built(hint_sample({})), frame_header(20, 0, 0));
}

// The header word, here with P and X bits, is the hint track's own; of the flags, all but that of extra
// information move nothing. The time counts from the first frame.
TEST_F(VideoProducer, CountsTimeFromItsFirstFrameAndTruncates) {
    const Bytes hint = ByteWriter().u16(1).u16(0).u32(77).u16(0x30A2).u16(5).u16(0xFFFB).u16(0);
    for (const auto& [seconds, timestamp, delta] : {std::tuple(1.0, 90000U, 0U),
                                                    {1.06666, 95999, 5999},
                                                    {0.5, 45000, 0U - 45000}})  // as after a seek backwards
        EXPECT_EQ(built(hint, seconds),
                  join({frame_header(40, 1, 0), packet_header(20, delta, 0xB0A20005, timestamp)}));
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

TEST_F(VideoProducer, WaitForMediaLeavesNoFrameButCountsIt) {
    reader.show_media({});
    EXPECT_EQ(built(hint_sample({{.constructors = {hint_sample_data(1, 1, 0)}}})), Bytes{});
    EXPECT_EQ(video.m_uFrameCount, 1U);
}

}  // namespace
}  // namespace qlip_test
