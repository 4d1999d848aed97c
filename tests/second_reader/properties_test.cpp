// What the stream's header says of the track.
#include <gtest/gtest.h>

#include "qlip/vorn3gp.h"
#include "tests/second_reader/reader_support.h"
#include "tests/support/little_endian.h"

namespace qlip_test {
namespace {

struct DelayCase {
    const char* name;
    Bytes video_edts;
    Bytes audio_edts;
    unsigned int status;
    unsigned int video_nts, audio_nts;
};

// The video clock is 90000, the audio clock that of the video track's media (1000 here), the movie's always
// 1000.
TEST(Properties, StartDelaysAreReadFromTheVideoTrackAndSharedOut) {
    for (const auto& [name, video_edts, audio_edts, status, video_nts, audio_nts] :
         {DelayCase{"none", {}, {}, 0, 0, 0},
          {"no_empty_edit", edts({{500, 0}}), {}, 0, 0, 0},
          {"video_alone", edts({{500, kEmptyEdit}, {9, kEmptyEdit}}), {}, 0, 45000, 0},
          {"first_empty_edit_of_several",
           edts({{1, 0}, {200, kEmptyEdit}, {9, kEmptyEdit}}),
           {},
           0,
           18000,
           0},
          {"audio_is_only_looked_for", edts({{500, kEmptyEdit}}), edts({{7, 0}}), 0, 45000 - 500, 0},
          {"audio_without_list", edts({{500, kEmptyEdit}}), container("edts", {}), 4, 45000, 0},
          {"audio_list_and_none_of_the_video", {}, edts({{500, kEmptyEdit}}), 0, 0, 0}}) {
        SCOPED_TRACE(name);
        MoviePlan plan = video_plan(2);
        plan.moov_first = true;
        plan.tracks[kMedia].extra_trak = video_edts;
        if (!audio_edts.empty()) {  // a track of which only the edit box matters
            plan.tracks.push_back(audio_plan(1).tracks[kMedia]);
            plan.tracks.back().id = 8;
            plan.tracks.back().extra_trak = audio_edts;
        }
        OpenReader open(build_movie(plan), "rv", status);
        // The track is complete also where the status says otherwise.
        const Delivery all = read_all(*open.reader, 1000, false);
        EXPECT_EQ(all.status, 1U);
        EXPECT_EQ(frames_of(all.bytes).size(), 2U);
        EXPECT_EQ(slice(all.bytes, 24, 8), words({video_nts, audio_nts}));
    }
}

TEST(Properties, AmrModesOfOneBitNameTheBitRateAndAnyOtherCountsAsTheHighest) {
    const auto coding = [](const Bytes& entries, unsigned int count) {
        MoviePlan plan = audio_plan(1);
        plan.tracks[kMedia].sample_entry = entries;
        Bytes file = build_movie(plan);
        set_u32(file, find_box(file, "stsd") + 8, count);
        return word_at(whole_stream(file, "ra"), 28);
    };
    for (unsigned int mode = 0; mode < 8; ++mode)
        EXPECT_EQ(coding(samr_entry(damr(1, 1 << mode)), 1), 26 + mode);
    for (const unsigned int mode_set : {0U, 3U, 0x81FFU})
        EXPECT_EQ(coding(samr_entry(damr(1, mode_set)), 1), 33U);
    // The last AMR entry counts.
    EXPECT_EQ(coding(join({samr_entry(damr(1, 1)), sawb_entry(), samr_entry(damr(1, 2)), sawb_entry()}), 4),
              27U);
}

// 44 frames in 3 s are 14 a second; clock and duration are the hint track's, the frame count the media
// track's.
TEST(Properties, FrameRateIsTruncatedAnd0WithoutDuration) {
    MoviePlan plan = video_plan(44);
    plan.tracks[kHint].stts = {{43, 6000}, {1, 12000}};
    Bytes header = whole_stream(build_movie(plan), "rv");
    EXPECT_EQ(slice(header, 20, 4), words({44}));
    EXPECT_EQ(slice(header, 48, 4), words({14 << 16}));
    EXPECT_EQ(slice(header, 76, 4), words({3000}));
    plan.tracks[kHint].stts = {{44, 0}};  // no duration, no rates
    EXPECT_EQ(slice(whole_stream(build_movie(plan), "rv"), 48, 8), Bytes(8));
}

TEST(Properties, FirstHintSampleWithoutAPacketSaysNothingOfPayloadType34) {
    MoviePlan plan = video_plan(2);
    for (const Bytes& first : {hint_sample({}), Bytes(15, 34)}) {
        plan.tracks[kHint].samples[0] = first;
        const Bytes stream = whole_stream(build_movie(plan), "rv");
        EXPECT_EQ(slice(stream, 40, 6), hex("733236332B00"));
        EXPECT_EQ(slice(frames_of(stream).back(), 40, 42), Bytes(42, 2));
    }
    // Its type is known, although the extra information that it announces is not there.
    plan.tracks[kHint].samples[0] = hex("00010000 00000000 00220000 00040000 FFFFFFFF");
    EXPECT_EQ(slice(whole_stream(build_movie(plan), "rv"), 40, 6), hex("733236330000"));
}

TEST(Properties, ShowTheConfigurationAndTheSampleEntrysSize) {
    MoviePlan plan = video_plan(1);
    EXPECT_EQ(slice(whole_stream(build_movie(plan), "rv"), 56, 20), words({176, 144, 8, 3, 20}));
    EXPECT_EQ(slice(whole_stream(build_movie(audio_plan(3)), "ra"), 52, 4), words({60}));  // milliseconds
    const Bytes configuration = hex("000001b0 08 0102030405");
    plan.tracks[kMedia].sample_entry = visual_entry("mp4v", 352, 288, esds(configuration));
    const Bytes header = whole_stream(build_movie(plan), "rv");
    EXPECT_EQ(slice(header, 56, 26), join({words({352, 288, 356, 8}), configuration}));
}

struct Probe : C3gpInterface {
    using C3gpInterface::BaseBoxes;
    using C3gpInterface::CalcAvgBitRate;
    using C3gpInterface::CalcTimeDeltas;
};

TEST(Properties, TablesExpandToADeltaForEachSampleAndToABitRateThatWraps) {
    Vorn3gp::SttsBox stts;
    stts.sample_entries = {{2, 10}, {1, 20}, {9, 30}};
    Vorn3gp::StszBox stsz;
    stsz.sample_count = 5;
    Probe::BaseBoxes boxes;
    boxes.m_pStts = &stts;
    boxes.m_pStsz = &stsz;
    std::vector<unsigned int> deltas(6, 7);
    Probe().CalcTimeDeltas(&boxes, deltas.data());
    EXPECT_EQ(deltas, (std::vector<unsigned int>{10, 10, 20, 30, 30, 7}));

    stsz.sample_size = 0x10001;
    stsz.sample_count = 0x10000;
    EXPECT_EQ(Probe().CalcAvgBitRate(&stsz, 1000), 0x10000 * 8.0);
}

}  // namespace
}  // namespace qlip_test
