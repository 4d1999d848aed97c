// What the stream's header says of the track.
#include <gtest/gtest.h>

#include "qlip/vorn3gp.h"
#include "tests/c3gpinterface/reader_support.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

constexpr unsigned int kNone = 0xFFFFFFFF;  // media time of an empty edit

struct Edit {
    unsigned int duration, media_time;
};

Bytes edts(const std::vector<Edit>& edits) {
    ByteWriter out;
    out.u32(static_cast<unsigned int>(edits.size()));
    for (const Edit& edit : edits)
        out.u32(edit.duration).u32(edit.media_time).u16(1).u16(0);
    return container("edts", {full_box("elst", out)});
}

// An audio track beside the video, of which only the edit box matters.
MoviePlan with_audio(MoviePlan plan, const Bytes& audio_edts) {
    TrackPlan audio = audio_plan(1).tracks[kMedia];
    audio.id = 8;
    audio.extra_trak = audio_edts;
    plan.tracks.push_back(audio);
    return plan;
}

struct DelayCase {
    const char* name;
    Bytes video_edts;
    Bytes audio_edts;
    unsigned int status;
    unsigned int video_nts, audio_nts;
};

class StartDelays : public testing::TestWithParam<DelayCase> {};

// The video clock is 90000, the audio clock that of the video track's media (1000 here), the movie's always
// 1000.
INSTANTIATE_TEST_SUITE_P(
    Table, StartDelays,
    testing::Values(
        DelayCase{"none", {}, {}, 0, 0, 0}, DelayCase{"no_empty_edit", edts({{500, 0}}), {}, 0, 0, 0},
        DelayCase{"video_alone", edts({{500, kNone}, {9, kNone}}), {}, 0, 45000, 0},
        DelayCase{"first_empty_edit_of_several", edts({{1, 0}, {200, kNone}, {9, kNone}}), {}, 0, 18000, 0},
        DelayCase{"audio_is_only_looked_for", edts({{500, kNone}}), edts({{7, 0}}), 0, 45000 - 500, 0},
        DelayCase{"audio_without_list", edts({{500, kNone}}), container("edts", {}), 4, 45000, 0},
        DelayCase{"audio_list_and_none_of_the_video", {}, edts({{500, kNone}}), 4, 0, 0}),
    [](const auto& test) { return test.param.name; });

TEST_P(StartDelays, AreReadFromTheVideoTrackAndSharedOut) {
    MoviePlan plan = video_plan(2);
    plan.moov_first = true;
    plan.tracks[kMedia].extra_trak = GetParam().video_edts;
    if (!GetParam().audio_edts.empty()) plan = with_audio(plan, GetParam().audio_edts);
    OpenReader open(build_movie(plan), "rv", GetParam().status);
    // The track is complete also where the status says otherwise.
    const Delivery all = read_all(*open.reader, 1000, false);
    EXPECT_EQ(all.status, 1U);
    EXPECT_EQ(frames_of(all.bytes).size(), 2U);
    EXPECT_EQ(word_at(all.bytes, 24), GetParam().video_nts);
    EXPECT_EQ(word_at(all.bytes, 28), GetParam().audio_nts);
}

TEST(Properties, AmrModesOfOneBitNameTheBitRateAndAnyOtherCountsAsTheHighest) {
    for (const auto& [mode_set, coding] : {std::pair(1U, 26U),
                                           {2, 27},
                                           {4, 28},
                                           {8, 29},
                                           {16, 30},
                                           {32, 31},
                                           {64, 32},
                                           {128, 33},
                                           {3, 33},
                                           {0, 33},
                                           {0x81FF, 33}}) {
        MoviePlan plan = audio_plan(3);
        plan.tracks[kMedia].sample_entry = samr_entry(damr(1, mode_set));
        EXPECT_EQ(word_at(whole_stream(build_movie(plan), "ra"), 28), coding);
    }
}

TEST(Properties, LastOfSeveralAudioEntriesCounts) {
    MoviePlan plan = audio_plan(1);
    plan.tracks[kMedia].sample_entry =
        join({samr_entry(damr(1, 1)), sawb_entry(), samr_entry(damr(1, 2)), sawb_entry()});
    Bytes file = build_movie(plan);
    set_u32(file, find_box(file, "stsd") + 8, 4);
    EXPECT_EQ(word_at(whole_stream(file, "ra"), 28), 27U);
}

// 44 frames in 3 s are 14 a second; clock and duration are the hint track's, the frame count the media
// track's.
TEST(Properties, FrameRateIsTruncatedAnd0WithoutDuration) {
    MoviePlan plan = video_plan(44);
    plan.tracks[kHint].stts = {{43, 6000}, {1, 12000}};
    Bytes header = whole_stream(build_movie(plan), "rv");
    EXPECT_EQ(word_at(header, 48), 14U << 16);
    EXPECT_EQ(word_at(header, 20), 44U);
    EXPECT_EQ(word_at(header, 76), 3000U);
    plan.tracks[kHint].stts = {{44, 0}};  // no duration, no rates
    header = whole_stream(build_movie(plan), "rv");
    EXPECT_EQ(word_at(header, 48), 0U);
    EXPECT_EQ(word_at(header, 52), 0U);
}

TEST(Properties, PayloadTypeOfTheFirstPacketTellsTheTwoKindsOfH263Apart) {
    for (const unsigned int type : {34U, 96U, 35U, 0U}) {
        MoviePlan plan = video_plan(1);
        plan.tracks[kHint].samples[0] = hint_sample(
            {{.marker = true, .payload_type = type, .constructors = {hint_sample_data(41, 1, 0)}}});
        const Bytes header = whole_stream(build_movie(plan), "rv");
        EXPECT_EQ(std::string(header.begin() + 40, header.begin() + 48),
                  type == 34 ? std::string("s263\0\0\0\0", 8) : std::string("s263+\0\0\0", 8));
    }
}

TEST(Properties, Mpeg4CarriesItsConfigurationAndTheSampleEntrysSize) {
    MoviePlan plan = video_plan(1);
    const Bytes configuration = hex("000001b0 08 0102030405");
    plan.tracks[kMedia].sample_entry = visual_entry("mp4v", 352, 288, esds(configuration));
    const Bytes header = whole_stream(build_movie(plan), "rv");
    EXPECT_EQ(word_at(header, 8), 440U);
    EXPECT_EQ(word_at(header, 56), 352U);  // the sample entry's size, not the track header's
    EXPECT_EQ(word_at(header, 60), 288U);
    EXPECT_EQ(word_at(header, 68), 8U);
    EXPECT_EQ(Bytes(header.begin() + 72, header.begin() + 82), configuration);
    EXPECT_EQ(word_at(header, 68 + 354) & 0xFFFF, 10U);
}

struct Probe : C3gpInterface {
    Probe() : C3gpInterface(65536) {}
    using C3gpInterface::BaseBoxes;
    using C3gpInterface::CalcAvgBitRate;
    using C3gpInterface::CalcTimeDeltas;
};

TEST(Properties, TimeTableExpandsToADeltaForEachSample) {
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
}

// 0x10000 samples of 0x10001 bytes: the product keeps its low 32 bits.
TEST(Properties, BitRateOfOneSampleSizeWraps) {
    Vorn3gp::StszBox stsz;
    stsz.sample_size = 0x10001;
    stsz.sample_count = 0x10000;
    EXPECT_EQ(Probe().CalcAvgBitRate(&stsz, 1000), 0x10000 * 8.0);
}

}  // namespace
}  // namespace qlip_test
