#include "tests/propfile/producer_rig.h"

namespace qlip_test {
namespace {

StreamBytes frame_header(unsigned int size, unsigned int packets, unsigned int padding) {
    return StreamBytes().u32(size).u32(packets).u32(padding).u32(4).u32(0);
}

StreamBytes packet_header(unsigned int size, unsigned int delta, unsigned int rtp_word,
                          unsigned int timestamp) {
    return StreamBytes().u32(size).u32(delta).u32(rtp_word).u32(timestamp).u32(0);
}

Bytes stream_header(unsigned int size, std::string_view name, const Bytes& config) {
    return StreamBytes()
        .raw(join({ByteWriter().text("VIDEO   "), StreamBytes().u32(size),
                   hex("0A000000 00000000 2C000000 C8AF0000 07000000 00000000 00000000"),
                   ByteWriter().text(name).zeros(8 - name.size()), hex("00000E00 00FA0000 B0000000 90000000"),
                   StreamBytes().u32(static_cast<unsigned int>(config.size())), config, hex("B80B0000")}))
        .zeros(12);
}

class VideoProducer : public ::testing::Test {
  protected:
    VideoProducer() { producer.Open(&params); }

    ReaderStub reader;
    PropFileVideoH263 producer{&reader};
    _TAG_VIDEO_OPEN_PARAMS params = video_params();
};

TEST_F(VideoProducer, OpensWithTheH263Header) {
    EXPECT_EQ(waiting(producer), stream_header(92, "s263", StreamBytes().u32(3).u32(20)));
    PropFileVideoH263_1998 other(&reader);
    ASSERT_TRUE(other.Open(&params));
    EXPECT_EQ(waiting(other), stream_header(92, "s263+", StreamBytes().u32(3).u32(20)));
}

struct ConfigCase {
    const char* name;
    Bytes config;
    unsigned int profile_level;
};

class Mpeg4Header : public ::testing::TestWithParam<ConfigCase> {};

TEST_P(Mpeg4Header, ShowsTheConfiguration) {
    const Bytes& config = GetParam().config;
    auto params = video_params();
    params.pConfig = config.data();
    params.uConfigSize = static_cast<unsigned int>(config.size());
    PropFileVideoMPEG4 producer(nullptr);
    ASSERT_TRUE(producer.Open(&params));
    const Bytes record = StreamBytes()
                             .u32(GetParam().profile_level)
                             .raw(config)
                             .zeros(350 - config.size())
                             .u16(params.uConfigSize);
    EXPECT_EQ(waiting(producer), stream_header(440, "mp4v", record));
}

INSTANTIATE_TEST_SUITE_P(Configurations, Mpeg4Header,
                         ::testing::Values(ConfigCase{"start_code", hex("000001B008 000001B5"), 8},
                                           ConfigCase{"other_start", hex("000001B508"), 0},
                                           ConfigCase{"empty", {}, 0},
                                           ConfigCase{"ends_with_start_code", hex("000001B0"), 0},
                                           ConfigCase{"full", Bytes(350, 0x11), 0}),
                         [](const auto& row) { return row.param.name; });

TEST_F(VideoProducer, PadsAFrameOfOnePacketToFourBytes) {
    const Bytes payload = hex("010203040506070809");
    const Bytes hint = hint_sample(
        {{.sequence = 7, .marker = true, .payload_type = 34, .constructors = {hint_immediate(payload)}}});
    ASSERT_EQ(reader.build(producer, hint, 1.0), std::nullopt);
    EXPECT_EQ(waiting(producer),
              join({frame_header(52, 1, 3), packet_header(29, 0, 0x80A20007, 90000), payload, Bytes(3)}));
}

TEST_F(VideoProducer, KeepsPacketsApartWithoutGap) {
    reader.show_media(hex("AABBCCDDEE"));
    const Bytes hint = hint_sample({{.sequence = 0xFFFF,
                                     .payload_type = 96,
                                     .constructors = {hint_immediate({1}), hint_sample_data(2, 1, 0)},
                                     .extra = hex("DEADBEEF")},
                                    {.sequence = 0,
                                     .marker = true,
                                     .payload_type = 96,
                                     .constructors = {hint_no_data(), hint_sample_data(2, 1, 3)}}});
    ASSERT_EQ(reader.build(producer, hint), std::nullopt);
    EXPECT_EQ(waiting(producer),
              join({frame_header(68, 2, 3), packet_header(23, 0, 0x8060FFFF, 0), hex("01AABB"),
                    packet_header(22, 0, 0x80E00000, 0), hex("DDEE"), Bytes(3)}));
}

TEST_F(VideoProducer, CountsTimeFromItsFirstFrameAndTruncates) {
    const Bytes hint = hint_sample({{.payload_type = 34}});
    const auto expected = [](unsigned int delta, unsigned int timestamp) {
        return join({frame_header(40, 1, 0), packet_header(20, delta, 0x80220000, timestamp)});
    };
    reader.build(producer, hint, 1.0);
    EXPECT_EQ(waiting(producer), expected(0, 90000));
    reader.build(producer, hint, 1.06666);
    EXPECT_EQ(waiting(producer), expected(5999, 95999));
    reader.build(producer, hint, 0.5);  // as after a seek backwards
    EXPECT_EQ(waiting(producer), expected(0xFFFFFFFF - 44999, 45000));
}

TEST_F(VideoProducer, KeepsHeaderBitsOfTheHintTrackInTheRtpWord) {
    const Bytes hint = ByteWriter().u16(1).u16(0).u32(0).u16(0x30A2).u16(5).u16(0).u16(0);
    reader.build(producer, hint);
    EXPECT_EQ(waiting(producer), join({frame_header(40, 1, 0), packet_header(20, 0, 0xB0A20005, 0)}));
}

TEST_F(VideoProducer, FrameWithoutPacketsIsItsHeader) {
    reader.build(producer, hint_sample({}));
    EXPECT_EQ(waiting(producer), Bytes(frame_header(20, 0, 0)));
}

TEST_F(VideoProducer, WaitForMediaLeavesNoFrameButCountsIt) {
    reader.show_media({});
    EXPECT_EQ(reader.build(producer, hint_sample({{.constructors = {hint_sample_data(1, 1, 0)}}})),
              std::nullopt);
    EXPECT_EQ(producer.ByteCount(), 0U);
    EXPECT_EQ(producer.m_uFrameCount, 1U);
}

}  // namespace
}  // namespace qlip_test
