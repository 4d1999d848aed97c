// Seeking: where each flag lands, what is refused, and how reading goes on.
#include <gtest/gtest.h>

#include "qlip/vorn3gp.h"
#include "tests/second_reader/reader_support.h"

namespace qlip_test {
namespace {

constexpr unsigned int kNext = 0x20001;
constexpr unsigned int kPrevious = 0x20002;
constexpr unsigned int kNearest = 0x20004;
constexpr unsigned int kNoOffset = 0xFFFFFFFF;

// 70 frames, ten a second, of which 1, 31 and 61 are sync samples.
MoviePlan with_sync() {
    MoviePlan plan = video_plan(70);
    plan.tracks[kMedia].sync = {1};  // of the media track, which does not count
    plan.tracks[kHint].sync = {1, 31, 61};
    return plan;
}

struct SeekCase {
    unsigned int time, flags;
    unsigned int status;
    unsigned int frame;  // from 1, a tenth of a second each
};

void check_landings(const MoviePlan& plan, std::initializer_list<SeekCase> cases) {
    const Bytes file = build_movie(plan);
    const auto media = chunk_offsets(file, kMedia);  // in front of its hint sample
    OpenReader open(file, "rv");
    for (const auto& [time, flags, status, frame] : cases) {
        SCOPED_TRACE(testing::Message() << time << " ms, flags " << flags);
        const Landing landing = seek(*open.reader, time, flags);
        if (status != 0) {
            EXPECT_EQ(landing, (Landing{.status = status}));
            continue;
        }
        EXPECT_EQ(landing, (Landing{0, (frame - 1) * 100, frame, media[frame - 1]}));
        EXPECT_EQ(open.host->position, landing.offset);
    }
}

TEST(Seek, EachFlagLandsOnItsSyncSample) {
    check_landings(with_sync(), {{3950, kNext, 0, 61},
                                 {3950, kPrevious, 0, 31},
                                 {3950, kNearest, 0, 61},  // 9 from 31, 21 from 61: the one further away
                                 {4900, kNearest, 0, 31},  // 19 and 11
                                 {4500, kNearest, 0, 31},  // 15 and 15
                                 {6950, kNext, 0, 61},
                                 {6950, kPrevious, 0, 61},  // behind the last
                                 {6950, kNearest, 0, 61},
                                 {3099, kNearest, 0, 31},
                                 {0, kPrevious, 0, 1},
                                 {6999, kNext | 0x40008, 0, 61},  // other bits are ignored
                                 {7000, kNext, 18, 0},
                                 {7000, kPrevious, 18, 0},
                                 {7001, kNext, 18, 0}});
    for (const unsigned int flags : {0x30001, 0x10000, 0x20003, 0x20000, 1, 0x20007, 0})
        check_landings(video_plan(1), {{0, flags, 19, 0}});
}

TEST(Seek, WithoutSyncSamplesEveryFlagLandsOnTheSampleItself) {
    MoviePlan plan = with_sync();
    plan.tracks[kHint].sync = {};
    check_landings(plan, {{0, kNext, 0, 1},
                          {3999, kNext, 0, 40},
                          {4000, kNearest, 0, 41},
                          {6899, kPrevious, 0, 69},
                          {7000, kNearest, 18, 0}});
    plan.tracks[kHint].sync = {5};  // nothing in front of the first
    check_landings(
        plan, {{100, kPrevious, 18, 0}, {100, kNext, 0, 5}, {100, kNearest, 0, 5}, {300, kNearest, 18, 0}});
}

// The offset of the last media sample is not known, and -1 is the lower number.
TEST(Seek, TakesTheLowestMediaSampleOfAnyConstructorAndNoOffsetWithoutOne) {
    MoviePlan plan = video_plan(9);
    plan.tracks[kHint].samples[2] = hint_sample({{.sequence = 3, .constructors = {hint_immediate({1, 2})}}});
    plan.tracks[kHint].samples[4] = hint_sample(
        {{.constructors = {hint_no_data(), Bytes{9}, hint_immediate(Bytes(14, 2)), hint_sample_data(1, 7, 0)},
          .extra = Bytes(8, 2)},
         {.constructors = {hint_sample_data(1, 4, 0), hint_sample_data(1, 6, 0)}}});
    const Bytes file = build_movie(plan);
    OpenReader open(file, "rv");
    EXPECT_EQ(seek(*open.reader, 450, kNext), (Landing{0, 400, 5, chunk_offsets(file, kMedia)[3]}));
    EXPECT_EQ(seek(*open.reader, 250, kNext), (Landing{0, 200, 3, kNoOffset}));
    EXPECT_EQ(seek(*open.reader, 899, kNext), (Landing{0, 800, 9, kNoOffset}));
    EXPECT_EQ(open.host->position, kNoOffset);
}

TEST(Seek, RelativeCountsFromTheCurrentFrame) {
    OpenReader open(build_movie(with_sync()), "rv");
    read_chunk(*open.reader, kVideoHeaderBytes);
    for (int i = 0; i < 10; ++i)
        read_frame(*open.reader);
    EXPECT_EQ(seek(*open.reader, 2950, 0x10001).frame, 61U);       // 1000 + 2950
    EXPECT_EQ(seek(*open.reader, 0u - 3000, 0x10002).frame, 31U);  // back from 6000
}

// Whole ticks a millisecond: 44 for 44100, none for a clock below 1000.
TEST(Seek, ClocksTruncateBothWays) {
    MoviePlan plan = audio_plan(3);
    for (auto& track : plan.tracks)
        track.timescale = track.delta = 44100;
    OpenReader audio(build_movie(plan), "ra");
    EXPECT_EQ(seek(*audio.reader, 1000, kNext).frame, 1U);
    const Landing second = seek(*audio.reader, 1003, kNext);
    EXPECT_EQ(second.frame, 2U);
    EXPECT_EQ(second.time, 1002U);

    plan = video_plan(3);
    plan.tracks[kHint].timescale = 999;
    plan.tracks[kHint].delta = 100;
    OpenReader slow(build_movie(plan), "rv");
    EXPECT_EQ(seek(*slow.reader, 0, kNext).status, 20U);
    EXPECT_EQ(seek(*slow.reader, 0, 0x10001).status, 2U);
}

struct TableCase {
    const char* name;
    unsigned int status;
    size_t offset;  // of the changed word in the file
    unsigned int value;
};

// Ten hint samples in one chunk of ten; the seek is to the fifth.
TEST(Seek, InDamagedTablesIsRefusedAndReadingGoesOnWhereItWas) {
    MoviePlan plan = video_plan(10);
    plan.tracks[kHint].samples_per_chunk = 10;
    plan.tracks[kHint].sync = {5};
    plan.tracks[kMedia].sample_entry = visual_entry("mp4v", 176, 144, esds(hex("000001b0")));
    const Bytes sound = build_movie(plan);
    const size_t stss = find_box(sound, "stss"), stsc = find_box(sound, "stsc", 1);
    const size_t stsz = find_box(sound, "stsz", 1);
    const size_t stco = find_box(sound, "stco", 1), sample = chunk_offsets(sound, kHint)[0] + 4 * 32;
    for (const auto& [name, status, offset, value] :
         {TableCase{"sync sample beyond the track", 4, stss + 12, 11},
          {"chunk claims one sample too many", 21, stsc + 16, 11},
          {"chunk claims far too many", 22, stsc + 16, 80},
          {"run begins behind the last chunk", 22, stsc + 12, 2},
          {"no samples in chunks", 22, stsc + 16, 0},
          {"run begins at chunk 0, of five samples", 22, stsc + 12, 0},
          {"hint offset beyond 2 GB", 22, stco + 12, 0x80000000},
          {"hint sample has no header", 4, stsz + 16 + 4 * 4, 3},
          {"hint sample ends in a constructor", 4, stsz + 16 + 4 * 4, 20},
          {"hint sample claims a packet too many", 4, sample, 0x20000},
          {"hint sample claims a constructor too many", 4, sample + 12, 2}}) {
        Bytes file = sound;
        set_u32(file, offset, value);
        if (offset == stsc + 12 && value == 0) set_u32(file, stsc + 16, 5);
        OpenReader open(file, "rv");
        EXPECT_EQ(seek(*open.reader, offset == stss + 12 ? 50 : 450, kNext).status, status) << name;
        EXPECT_EQ(read_all(*open.reader, 1000, false).bytes, whole_stream(file, "rv")) << name;
    }
}

struct Probe : C3gpInterface {
    using C3gpInterface::CalcHintOffset;
    using C3gpInterface::CalcMediaOffset;
    using C3gpInterface::m_SampleToChunk;
};

TEST(Seek, OffsetsOfSamplesThatAreNotThere) {
    MemoryHost host(build_movie(video_plan(3)));
    Probe reader;
    ASSERT_EQ(reader.Open(host.record(), "rv"), 0U);
    unsigned int size = 5;
    for (const unsigned int sample : {0U, 4U, 0xFFFFFFFFU}) {
        EXPECT_EQ(reader.CalcHintOffset(sample, &size), kNoOffset);
        EXPECT_EQ(reader.CalcMediaOffset(sample), kNoOffset);
    }
    EXPECT_EQ(size, 5U);
    reader.m_SampleToChunk.clear();
    EXPECT_EQ(seek(reader, 0, kNext).status, 4U);
}

class AfterSeek : public testing::TestWithParam<bool> {
  protected:
    // The next frame records are those from `first` to `last`.
    static void expect_frames(OpenReader& open, unsigned int first, unsigned int last) {
        const std::vector<Bytes> frames = frames_of(whole_stream(open.host->bytes, "rv"));
        for (unsigned int i = first; i <= last; ++i)
            ASSERT_EQ(read_frame(*open.reader, GetParam()).bytes, frames.at(i - 1)) << i;
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, AfterSeek, testing::Bool(),
                         [](const auto& test) { return test.param ? "Indexed" : "Positioned"; });

TEST_P(AfterSeek, ReadingGoesOnWithTheRightFramesAndTheEndStaysTheEnd) {
    OpenReader open(build_movie(with_sync()), "rv");
    read_chunk(*open.reader, kVideoHeaderBytes, GetParam());
    expect_frames(open, 1, 1);
    for (const unsigned int frame : {61U, 31U, 1U, 31U}) {
        ASSERT_EQ(seek(*open.reader, (frame - 1) * 100, kNext).frame, frame);
        expect_frames(open, frame, frame + 8);
    }
    expect_frames(open, 40, 70);
    EXPECT_EQ(read_frame(*open.reader, GetParam()).status, 1U);
    EXPECT_EQ(seek(*open.reader, 0, kNext).status, 0U);
    EXPECT_EQ(read_chunk(*open.reader, 100, GetParam()), (Delivery{1, {}}));
}

TEST_P(AfterSeek, BytesThatWaitComeFirst) {
    OpenReader open(build_movie(with_sync()), "rv");
    const Bytes whole = whole_stream(open.host->bytes, "rv");
    read_chunk(*open.reader, 10, GetParam());
    ASSERT_EQ(seek(*open.reader, 3000, kNext).frame, 31U);
    EXPECT_EQ(read_chunk(*open.reader, kVideoHeaderBytes - 10, GetParam()).bytes,
              Bytes(whole.begin() + 10, whole.begin() + kVideoHeaderBytes));
    // The first frame built sets the base of the time deltas.
    const Bytes frame = read_frame(*open.reader, GetParam()).bytes;
    EXPECT_EQ(word_at(frame, 24), 0U);
    EXPECT_EQ(word_at(frame, 28), 0x80E0001FU);
    EXPECT_EQ(word_at(frame, 32), 270000U);
}

TEST_P(AfterSeek, AFailedLastStepLeavesTheNewPositionInForce) {
    OpenReader open(build_movie(with_sync()), "rv");
    read_chunk(*open.reader, kVideoHeaderBytes, GetParam());
    open.host->clear_log();
    open.host->fault = {.slot = Slot::Seek, .call = 2};
    EXPECT_EQ(seek(*open.reader, 3000, kNext).status, 2U);
    EXPECT_EQ(word_at(read_frame(*open.reader, GetParam()).bytes, 28), 0x80E0001FU);
}

// Hint samples of 32 bytes in chunks of 3, 3, 3, 2 and 2.
MoviePlan with_two_runs() {
    MoviePlan plan = video_plan(13);
    plan.tracks[kHint].chunks = {3, 3, 3, 2, 2};
    plan.tracks[kMedia].samples_per_chunk = 3;
    return plan;
}

// The run behind is never taken up, and its chunks are walked as if they held three samples: the third is
// looked for where chunk 4 has ended.
TEST_P(AfterSeek, ToALaterChunkOfARunTheNumberOfSamplesInAChunkStays) {
    OpenReader right(build_movie(with_two_runs()), "rv");
    read_chunk(*right.reader, kVideoHeaderBytes);
    expect_frames(right, 1, 1);
    ASSERT_EQ(seek(*right.reader, 950, kNext).frame, 10U);  // into the first chunk of a run
    expect_frames(right, 10, 13);

    OpenReader open(build_movie(with_two_runs()), "rv");
    const std::vector<unsigned int> chunk = chunk_offsets(open.host->bytes, kHint);
    ASSERT_EQ(chunk.size(), 5U);
    ASSERT_EQ(seek(*open.reader, 300, kNext).frame, 4U);
    open.host->clear_log();
    read_all(*open.reader, 1000, GetParam());
    EXPECT_EQ(read_offsets(*open.host, 32),
              (std::vector<unsigned int>{chunk[1], chunk[1] + 32, chunk[1] + 64, chunk[2], chunk[2] + 32,
                                         chunk[2] + 64, chunk[3], chunk[3] + 32, chunk[3] + 64, chunk[4]}));
}

}  // namespace
}  // namespace qlip_test
