// Hint samples that cannot be followed, and frames and headers that do not fit.
#include <new>

#include "tests/propfile/producer_rig.h"

namespace {

bool no_memory = false;

}  // namespace

void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    if (no_memory) return nullptr;
    return ::operator new[](bytes);
}

namespace qlip_test {
namespace {

Bytes packet_header(unsigned int entries, unsigned int flags = 0) {
    return ByteWriter().u32(0).u16(34).u16(0).u16(flags).u16(entries);
}

Bytes one_packet(unsigned int entries, const Bytes& constructors) {
    return join({ByteWriter().u16(1).u16(0), packet_header(entries), constructors});
}

struct Damage {
    const char* name;
    Bytes hint;
};

std::vector<Damage> truncations() {
    const Bytes one = ByteWriter().u16(1).u16(0);
    const auto extra = [&](unsigned int length) {
        return join({one, packet_header(0, 4), ByteWriter().u32(length), Bytes(8)});
    };
    return {{"empty", {}},
            {"three_bytes_of_header", Bytes(3)},
            {"packets_missing", hex("FFFF0000")},
            {"packet_header_cut", join({one, Bytes(11)})},
            {"extra_length_cut", join({one, packet_header(0, 4), Bytes(3)})},
            {"extra_length_below_its_own_word", extra(3)},
            {"extra_length_one_beyond", extra(13)},
            {"extra_length_huge", extra(0xFFFFFFFF)},
            {"constructors_missing", one_packet(0xFFFF, {})},
            {"constructor_cut", one_packet(1, ByteWriter().u8(0).zeros(14))},
            {"unknown_kinds_run_out", one_packet(17, Bytes(16, 0xEE))},
            {"second_packet_missing", join({hex("00020000"), packet_header(1), Bytes(16)})}};
}

// Both kinds of producer on one reader.
struct Producers {
    Producers() { audio.Open(&audio_parameters), video.Open(&video_parameters); }
    ReaderStub reader;
    _TAG_AUDIO_OPEN_PARAMS audio_parameters = amr_params();
    _TAG_VIDEO_OPEN_PARAMS video_parameters = video_params();
    PropFileAudio audio{&reader};
    PropFileVideoH263 video{&reader};
};

class TruncatedHintSample : public ::testing::TestWithParam<Damage> {};

TEST_P(TruncatedHintSample, EndsAudioAndVideoFramesWithBadContent) {
    Producers to;
    EXPECT_EQ(to.reader.build(to.audio, GetParam().hint), kBadContent);
    EXPECT_EQ(to.reader.build(to.video, GetParam().hint), kBadContent);
}

INSTANTIATE_TEST_SUITE_P(Cuts, TruncatedHintSample, ::testing::ValuesIn(truncations()),
                         [](const auto& row) { return row.param.name; });

TEST(HintSampleEnd, MayLieRightBehindTheExtraInformation) {
    Producers to;
    const Bytes hint = join({hex("00010000"), packet_header(0, 4), ByteWriter().u32(12), Bytes(8)});
    EXPECT_EQ(to.reader.build(to.video, hint), std::nullopt);
}

// Constructors whose bytes do not exist or do not fit. Each stands between two good ones.
std::vector<Damage> bad_constructors() {
    const Bytes first = hint_immediate(hex("F0147F"));
    const auto between = [&](const Bytes& bad) { return one_packet(3, join({first, bad, first})); };
    const Bytes too_greedy = ByteWriter().u8(1).u8(31).raw(Bytes(14));
    return {{"sample_number_zero", between(hint_sample_data(1, 0, 0))},
            {"sample_number_above_the_count", between(hint_sample_data(1, 3, 0))},
            {"one_byte_beyond_the_sample", between(hint_sample_data(3, 2, 2))},
            {"offset_beyond_the_sample", between(hint_sample_data(0, 2, 5))},
            {"offset_and_length_wrap", between(hint_sample_data(2, 2, 0xFFFFFFFF))},
            {"immediate_beyond_the_hint_sample", between(too_greedy)}};
}

class BadConstructor : public ::testing::TestWithParam<Damage> {};

TEST_P(BadConstructor, CostsAudioItsBytesAndVideoTheFrame) {
    Producers to;
    to.reader.show_media(hex("01020304"), 2, 2);
    EXPECT_EQ(to.reader.build(to.audio, GetParam().hint), std::nullopt);
    const Bytes frame = waiting(to.audio);
    ASSERT_EQ(frame.size(), 30U);
    EXPECT_EQ(frame[0], 30);
    EXPECT_EQ(Bytes(frame.begin() + 24, frame.end()), hex("F0147F F0147F"));
    EXPECT_EQ(to.reader.build(to.video, GetParam().hint), kBadContent);
}

INSTANTIATE_TEST_SUITE_P(Kinds, BadConstructor, ::testing::ValuesIn(bad_constructors()),
                         [](const auto& row) { return row.param.name; });

TEST(FrameBuffer, TakesAnAudioFrameThatFillsItAndDropsTheConstructorBeyond) {
    ReaderStub reader;
    reader.show_media(Bytes(1544, 0x14));  // 1568 less the frame header
    PropFileAudio audio(&reader);
    auto params = amr_params();
    audio.Open(&params);
    const Bytes fits = hint_sample_data(1544, 1, 0);
    EXPECT_EQ(reader.build(audio, one_packet(1, fits)), std::nullopt);
    EXPECT_EQ(audio.ByteCount(), 1568U);
    // A second packet begins where the buffer ends: its table of contents would lie behind the buffer.
    const Bytes two = join({hex("00020000"), packet_header(1), fits, packet_header(1), hint_immediate({1})});
    EXPECT_EQ(reader.build(audio, two), std::nullopt);
    EXPECT_EQ(audio.ByteCount(), 1568U);
    EXPECT_EQ(audio.m_uLastFrameType, 0U);
}

// A frame of one packet with `payload` bytes needs 40 and the payload, padded.
std::optional<unsigned int> build_video(unsigned int buffer, unsigned int payload, unsigned int packets = 1) {
    ReaderStub reader;
    reader.show_media(Bytes(payload, 1));
    PropFileVideoH263 video(&reader);
    auto params = video_params(buffer);
    video.Open(&params);
    const HintPacket packet{.constructors = {hint_sample_data(payload, 1, 0)}};
    return reader.build(video, hint_sample(std::vector<HintPacket>(packets, packet)));
}

TEST(FrameBuffer, DropsAVideoFrameThatDoesNotFit) {
    EXPECT_EQ(build_video(140, 100), std::nullopt);
    EXPECT_EQ(build_video(139, 100), kBadContent) << "payload";
    EXPECT_EQ(build_video(138, 97), kBadContent) << "padding";
    EXPECT_EQ(build_video(105, 50, 2), kBadContent) << "second packet's header";
    EXPECT_EQ(build_video(2000, 65535), kBadContent);
}

TEST(FrameBuffer, MustHoldTheStreamHeader) {
    auto params = video_params(91);
    PropFileVideoH263 video(nullptr);
    EXPECT_EQ(refusal([&] { video.Open(&params); }),
              "Stream header of 92 bytes does not fit the frame buffer of 91 bytes");
    params.uMaxFrameBytes = 92;
    EXPECT_TRUE(video.Open(&params));
    params.uMaxFrameBytes = 439;
    PropFileVideoMPEG4 mpeg4(nullptr);
    EXPECT_EQ(refusal([&] { mpeg4.Open(&params); }),
              "Stream header of 440 bytes does not fit the frame buffer of 439 bytes");
}

TEST(FrameBuffer, RefusesAConfigurationThatIsTooLong) {
    const Bytes config(351);
    auto params = video_params();
    params.pConfig = config.data();
    params.uConfigSize = 351;
    PropFileVideoMPEG4 producer(nullptr);
    EXPECT_EQ(refusal([&] { producer.Open(&params); }), "Decoder configuration of 351 bytes is too long");
}

TEST(FrameBuffer, WithoutMemoryNothingOpensAndNothingIsBuilt) {
    ReaderStub reader;
    const Bytes hint = hint_sample({{.constructors = {hint_immediate({1})}}});
    PropFileAudio audio(&reader);
    PropFileVideoH263 video(&reader);
    auto audio_parameters = amr_params();
    auto video_parameters = video_params(5000);
    no_memory = true;
    EXPECT_EQ(refusal([&] { audio.Open(&audio_parameters); }),
              "Unable to allocate 1568 bytes for Audio frame");
    EXPECT_EQ(refusal([&] { video.Open(&video_parameters); }),
              "Unable to allocate 5000 bytes for Video frame");
    no_memory = false;
    EXPECT_EQ(reader.build(audio, hint), kBadContent);
    EXPECT_EQ(reader.build(video, hint), kBadContent);
    EXPECT_EQ(audio.ByteCount() + video.ByteCount(), 0U);
}

}  // namespace
}  // namespace qlip_test
