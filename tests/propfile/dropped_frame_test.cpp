// Dropped frames as a host of the reader sees them.
#include <gtest/gtest.h>

#include "tests/c3gpinterface/reader_support.h"

namespace qlip_test {
namespace {

class DroppedFrame : public ::testing::TestWithParam<bool> {
  protected:
    // The frames that three hint samples give, the whole read in one request.
    std::vector<Bytes> frames(const MoviePlan& plan, const char* mode, unsigned int frame_bytes = 65536) {
        OpenReader open(build_movie(plan), mode, 0, frame_bytes);
        const Delivery all = read_chunk(*open.reader, kWholeStream, GetParam());
        EXPECT_EQ(all.status, 1U);
        return frames_of(all.bytes);
    }

    MoviePlan video = video_plan(3);
    std::vector<Bytes> good = frames(video, "rv");
};

INSTANTIATE_TEST_SUITE_P(ReadModes, DroppedFrame, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "indexed" : "positioned"; });

TEST_P(DroppedFrame, OfBadContentLeavesTheOthersAndTheirTimesAlone) {
    ASSERT_EQ(good.size(), 3U);
    for (const Bytes& bad : {whole_sample_hint(4, 1, 2), whole_sample_hint(0, 1, 2),
                             whole_sample_hint(2, 43, 2), hex("FFFF0000 00000000 0000 0000 0000 0000")}) {
        video.tracks[kHint].samples[1] = bad;
        EXPECT_EQ(frames(video, "rv"), (std::vector<Bytes>{good[0], good[2]}));
    }
}

TEST_P(DroppedFrame, ThatIsTooLargeForTheBufferLeavesTheOthersAlone) {
    video.tracks[kMedia].samples[1] = Bytes(100, 9);
    video.tracks[kHint].samples[1] = whole_sample_hint(2, 100, 2);
    EXPECT_EQ(frames(video, "rv", 139), (std::vector<Bytes>{good[0], good[2]}));
    EXPECT_EQ(frames(video, "rv", 140).size(), 3U);
}

// What was built of it waits in the buffer, and no other frame takes its place there.
TEST_P(DroppedFrame, AtTheEndIsDeliveredAsFarAsItWasBuiltBehindTheEnd) {
    const Bytes whole = hint_sample_data(43, 3, 0);
    const Bytes bad = hint_sample_data(1, 4, 0);
    video.tracks[kHint].samples[2] = hint_sample({{.sequence = 3, .constructors = {whole, bad}}});
    OpenReader open(build_movie(video));
    const unsigned int end = kVideoHeaderBytes + static_cast<unsigned int>(good[0].size() + good[1].size());
    EXPECT_EQ(read_chunk(*open.reader, end + 1000, GetParam()).bytes.size(), end);
    const Delivery rest = read_chunk(*open.reader, 1000, GetParam());
    EXPECT_EQ(rest.status, 1U);
    ASSERT_EQ(rest.bytes.size(), 83U);  // 20 of frame, 20 of packet, the first constructor's 43
    EXPECT_EQ(Bytes(rest.bytes.begin() + 40, rest.bytes.end()), Bytes(43, 3));
    EXPECT_EQ(read_chunk(*open.reader, 1000, GetParam()), (Delivery{1, {}}));
}

TEST_P(DroppedFrame, OfAudioLosesTheBadConstructorOnly) {
    MoviePlan audio = audio_plan(3);
    const std::vector<Bytes> all = frames(audio, "ra");
    const Bytes beyond = hint_sample_data(14, 2, 0);
    audio.tracks[kHint].samples[1] = hint_sample(
        {{.sequence = 9, .constructors = {hint_immediate(hex("F0")), beyond, hint_immediate(hex("3C"))}}});
    const std::vector<Bytes> left = frames(audio, "ra");
    ASSERT_EQ(left.size(), 3U);
    EXPECT_EQ(left[0], all[0]);
    EXPECT_EQ(left[1], join({hex("1A000000 0A000000 A0000000 A0000000 0900 0000 00000000"), hex("F03C")}));
    EXPECT_EQ(left[2], all[2]);
}

}  // namespace
}  // namespace qlip_test
