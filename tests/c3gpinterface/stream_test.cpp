// The stream of every hinted sample is one and the same, however it is read.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "tests/c3gpinterface/reader_support.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

struct Track {
    const char* file;
    const char* mode;
};

const Track kTracks[] = {{"amrnb_hinted.3gp", "ra"},         {"av_h263_amrnb_hinted.3gp", "ra"},
                         {"av_h263_amrnb_hinted.3gp", "rv"}, {"h263_hinted_pt34.3gp", "rv"},
                         {"h263_hinted_pt96.3gp", "rv"},     {"mpeg4_hinted.3gp", "rv"}};

class EveryTrack : public testing::TestWithParam<Track> {};

INSTANTIATE_TEST_SUITE_P(Samples, EveryTrack, testing::ValuesIn(kTracks), [](const auto& test) {
    std::string name = std::string(test.param.file) + "_" + test.param.mode;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

TEST_P(EveryTrack, IsTheSameInBothReadModesAndInRequestsOfAnySize) {
    const Bytes file = sample(GetParam().file);
    const Bytes whole = whole_stream(file, GetParam().mode);
    ASSERT_GT(frames_of(whole).size(), 3U);
    for (const bool indexed : {false, true}) {
        for (const unsigned int size : {1U, 7U, 1400U, kWholeStream}) {
            OpenReader open(file, GetParam().mode);
            const Delivery all = read_all(*open.reader, size, indexed);
            EXPECT_EQ(all.status, 1U);
            EXPECT_EQ(all.bytes, whole) << "requests of " << size << (indexed ? ", indexed" : "");
            EXPECT_EQ(read_chunk(*open.reader, size, indexed), (Delivery{1, {}}));
            EXPECT_EQ(read_chunk(*open.reader, 0, indexed), (Delivery{0, {}}));
        }
    }
}

TEST_P(EveryTrack, MayChangeItsReadModeFromCallToCall) {
    const Bytes file = sample(GetParam().file);
    OpenReader open(file, GetParam().mode);
    Delivery all;
    for (bool indexed = false; all.status == 0; indexed = !indexed) {
        const Delivery part = read_chunk(*open.reader, 333, indexed);
        all.bytes.insert(all.bytes.end(), part.bytes.begin(), part.bytes.end());
        all.status = part.status;
    }
    EXPECT_EQ(all.bytes, whole_stream(file, GetParam().mode));
}

// The bytes of a small video stream, worked out by hand.
TEST(Stream, OfTwoVideoFramesIsWhatTheTablesSay) {
    const Bytes stream = whole_stream(build_movie(video_plan(2)), "rv");
    ASSERT_EQ(stream.size(), kVideoHeaderBytes + 84U + 84U);
    EXPECT_EQ(std::string(stream.begin(), stream.begin() + 8), "VIDEO   ");
    EXPECT_EQ(word_at(stream, 20), 2U);  // media samples
    EXPECT_EQ(std::string(stream.begin() + 40, stream.begin() + 48), std::string("s263+\0\0\0", 8));
    EXPECT_EQ(word_at(stream, 48), 10U << 16);  // frames a second
    EXPECT_EQ(word_at(stream, 52), 3320U);      // 83 bytes in 200 ms
    EXPECT_EQ(word_at(stream, 56), 176U);
    EXPECT_EQ(word_at(stream, 68), 3U);    // profile
    EXPECT_EQ(word_at(stream, 72), 20U);   // level
    EXPECT_EQ(word_at(stream, 76), 200U);  // ms
    const Bytes second(stream.begin() + kVideoHeaderBytes + 84, stream.end());
    const unsigned int words[] = {84, 1, 2, 4, 0, 62, 9000, 0x80E00002, 9000, 0};
    for (size_t i = 0; i < std::size(words); ++i)
        EXPECT_EQ(word_at(second, 4 * i), words[i]) << i;
    EXPECT_EQ(Bytes(second.begin() + 40, second.end()), join({Bytes(42, 2), Bytes(2, 0)}));
}

TEST(Stream, OfAudioCarriesTheTalkSpurtFlagFromPacketToPacket) {
    const std::vector<Bytes> frames =
        frames_of(whole_stream(build_movie(audio_plan(5, {15, 15, 2, 2, 15})), "ra"));
    ASSERT_EQ(frames.size(), 5U);
    for (unsigned int i = 0; i < 5; ++i) {
        EXPECT_EQ(word_at(frames[i], 0), 24U + 14U);
        EXPECT_EQ(word_at(frames[i], 4), 10U);
        EXPECT_EQ(word_at(frames[i], 8), 160U * i);
        EXPECT_EQ(word_at(frames[i], 16), (i + 1) | (i == 2 ? 1U << 16 : 0U));
        EXPECT_EQ(frames[i][24], 0xF0);
        EXPECT_EQ(frames[i][37], i + 1);
    }
}

}  // namespace
}  // namespace qlip_test
