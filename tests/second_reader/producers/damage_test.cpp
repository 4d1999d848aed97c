// Hint samples that cannot be followed, and frames and headers that do not fit.
#include "tests/second_reader/producers/producer_rig.h"
#include "tests/support/allocation_count.h"

namespace qlip_test {
namespace {

Bytes packet_header(unsigned int entries, unsigned int flags = 0) {
    return ByteWriter().u32(0).u16(34).u16(0).u16(flags).u16(entries);
}

Bytes one_packet(unsigned int entries, const Bytes& constructors) {
    return join({hex("00010000"), packet_header(entries), constructors});
}

Bytes extra(unsigned int length) {
    return join({hex("00010000"), packet_header(0, 4), ByteWriter().u32(length), Bytes(8)});
}

struct Damage {
    const char* name;
    Bytes hint;
};

TEST(TruncatedHintSample, EndsAudioAndVideoFramesWithBadContent) {
    Producers to;
    for (const auto& [name, hint] :
         {Damage{"empty", {}},
          {"three_bytes_of_header", Bytes(3)},
          {"packets_missing", hex("FFFF0000")},
          {"packet_header_cut", join({hex("00010000"), Bytes(11)})},
          {"extra_length_cut", join({hex("00010000"), packet_header(0, 4), Bytes(3)})},
          {"extra_length_below_its_own_word", extra(3)},
          {"extra_length_one_beyond", extra(13)},
          {"extra_length_huge", extra(0xFFFFFFFF)},
          {"constructors_missing", one_packet(0xFFFF, {})},
          {"constructor_cut", one_packet(1, Bytes(15))},
          {"unknown_kinds_run_out", one_packet(17, Bytes(16, 0xEE))},
          {"second_packet_missing", join({hex("00020000"), packet_header(1), Bytes(16)})}}) {
        EXPECT_EQ(to.reader.build(to.audio, hint), kBadContent) << name;
        EXPECT_EQ(to.reader.build(to.video, hint), kBadContent) << name;
    }
    for (const unsigned int length : {4U, 12U})  // the word alone, and all there is
        EXPECT_EQ(to.reader.build(to.video, extra(length)), std::nullopt) << length;
}

// Constructors whose bytes do not exist. Each stands between two good ones.
TEST(BadConstructor, CostsAudioItsBytesAndVideoTheFrame) {
    Producers to;
    to.reader.show_media(hex("01020304"), 2, 2);
    const Bytes good = hint_immediate(hex("F0147F"));
    for (const auto& [name, bad] :
         {Damage{"sample_number_zero", hint_sample_data(1, 0, 0)},
          {"sample_number_above_the_count", hint_sample_data(1, 3, 0)},
          {"one_byte_beyond_the_buffer", hint_sample_data(3, 2, 2)},
          {"offset_beyond_the_buffer", hint_sample_data(0, 2, 5)},
          {"offset_and_length_wrap", hint_sample_data(2, 2, 0xFFFFFFFF)},
          {"immediate_beyond_the_hint_sample", ByteWriter().u8(1).u8(31).zeros(14)}}) {
        const Bytes hint = one_packet(3, join({good, bad, good}));
        EXPECT_EQ(to.reader.build(to.audio, hint), std::nullopt) << name;
        EXPECT_EQ(waiting(to.audio), join({words({30, 10, 0, 0, 0, 0}), hex("F0147F F0147F")})) << name;
        EXPECT_EQ(to.reader.build(to.video, hint), kBadContent) << name;
    }
}

TEST(FrameBuffer, TakesAnAudioFrameThatFillsItAndDropsTheConstructorBeyond) {
    Producers to;
    to.reader.show_media(Bytes(1544, 0x14));  // 1568 less the frame header
    const Bytes fits = hint_sample_data(1544, 1, 0);
    EXPECT_EQ(to.reader.build(to.audio, one_packet(1, fits)), std::nullopt);
    EXPECT_EQ(to.audio.ByteCount(), 1568U);
    // A second packet begins where the buffer ends: its table of contents would lie behind the buffer.
    const Bytes two = join({hex("00020000"), packet_header(1), fits, packet_header(1), hint_immediate({1})});
    EXPECT_EQ(to.reader.build(to.audio, two), std::nullopt);
    EXPECT_EQ(to.audio.ByteCount(), 1568U);
    EXPECT_EQ(to.audio.m_uLastFrameType, 0U);
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

template <class Producer>
std::string open_refused(unsigned int frame_bytes, const Bytes& config = {}) {
    auto params = video_params(frame_bytes, config);
    return message_of([&] { Producer(nullptr).Open(&params); });
}

TEST(FrameBuffer, MustHoldTheStreamHeaderAndTheRecordTheConfiguration) {
    EXPECT_EQ(open_refused<PropFileVideoH263>(91),
              "Stream header of 92 bytes does not fit the frame buffer of 91 bytes");
    auto params = video_params(92);
    EXPECT_TRUE(PropFileVideoH263(nullptr).Open(&params));
    EXPECT_EQ(open_refused<PropFileVideoMPEG4>(439),
              "Stream header of 440 bytes does not fit the frame buffer of 439 bytes");
    EXPECT_EQ(open_refused<PropFileVideoMPEG4>(2000, Bytes(351)),
              "Decoder configuration of 351 bytes is too long");
}

TEST(FrameBuffer, WithoutMemoryNothingOpensAndNothingIsBuilt) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
    Producers to;
    to.video_parameters = video_params(5000);
    fail_allocation(1);
    EXPECT_EQ(message_of([&] { to.audio.Open(&to.audio_parameters); }),
              "Unable to allocate 1568 bytes for Audio frame");
    fail_allocation(1);
    EXPECT_EQ(message_of([&] { to.video.Open(&to.video_parameters); }),
              "Unable to allocate 5000 bytes for Video frame");
    const Bytes hint = one_packet(1, hint_immediate({1}));
    EXPECT_EQ(to.reader.build(to.audio, hint), kBadContent);
    EXPECT_EQ(to.reader.build(to.video, hint), kBadContent);
    EXPECT_EQ(to.audio.ByteCount() + to.video.ByteCount(), 0U);
}

}  // namespace
}  // namespace qlip_test
