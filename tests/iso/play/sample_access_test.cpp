// Reading samples in both modes, the cursor, and the information calls.
#include "iso/play/sample_access.h"

#include <gmock/gmock.h>

#include <array>

#include "iso/play/sample_cursor.h"
#include "iso/play/sample_places.h"
#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

using testing::ElementsAre;

// Seven samples of 1 to 7 bytes, in chunks of three, apart from each other in the file.
MoviePlan seven_samples() {
    TrackPlan track{.timescale = 1000, .samples_per_chunk = 3, .sample_entry = samr_entry()};
    for (unsigned int i = 1; i <= 7; ++i)
        track.samples.push_back(Bytes(i, static_cast<unsigned char>(i)));
    track.stts = {{4, 20}, {3, 30}};
    track.ctts = {{1, 5}, {6, 0xFFFFFFF6}};
    TrackPlan other{.samples = {Bytes(9, 9), Bytes(9, 9), Bytes(9, 9)}, .sample_entry = samr_entry()};
    return {{track, other}, true};
}

class Reading : public testing::TestWithParam<bool> {
  protected:
    Reading() : f(seven_samples()), track(f.track()) { f.file->indexed_read = GetParam(); }
    int read(int size = 64000) { return isoFFread(track, buffer.data(), size, &time, &cto); }

    OpenedFile f;
    iso_track* track;
    Bytes buffer = Bytes(64000, 0);
    double time = -1, cto = -1;
};

TEST_P(Reading, DeliversEverySampleWithItsTimes) {
    for (unsigned int i = 1; i <= 7; ++i) {
        ASSERT_EQ(read(), static_cast<int>(i));
        EXPECT_EQ(buffer[i - 1], i);
        EXPECT_DOUBLE_EQ(time, i <= 4 ? 0.02 : 0.03);
        EXPECT_DOUBLE_EQ(cto, i == 1 ? 0.005 : -0.01);
    }
    EXPECT_EQ(track->sample, 7);
    EXPECT_EQ(track->chunk, 3);
    EXPECT_EQ(read(), ISOFF_END);
    EXPECT_EQ(isoFFframeInfo(track, &time, nullptr), -1);
    EXPECT_EQ(isoFFsetPosition(track, 7), -1);
    EXPECT_EQ(isoFFsetPosition(track, -1), -1);
    EXPECT_EQ(isoFFsetPosition(track, 2), 0);
    EXPECT_EQ(read(), 3);
}

TEST_P(Reading, LeavesTheCursorAtWhatItCannotReadAndMovesItByWhatCame) {
    isoFFsetPosition(track, 4);
    for (unsigned long call = 1; call <= (GetParam() ? 1 : 2); ++call) {
        f.host.clear_log();
        f.host.fault = MemoryHost::Fault{std::nullopt, call, false};
        EXPECT_EQ(read(), ISOFF_NOT_YET);
    }
    EXPECT_EQ(read(4), ISOFF_END) << "a buffer too small";
    EXPECT_EQ(read(-1), ISOFF_END);
    EXPECT_EQ(isoFFread(nullptr, buffer.data(), 5, nullptr, nullptr), ISOFF_END);
    EXPECT_EQ(track->sample, 4);
    EXPECT_EQ(read(5), 5);
    f.host.clear_log();
    f.host.fault = MemoryHost::Fault{std::nullopt, 1, false, 0x10000};
    EXPECT_GE(read(), 0) << "the low 16 bits of a status count";
    isoFFsetPosition(track, 3);
    const unsigned int start = track->file_pos;
    f.host.most_per_read = 1;
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(track->sample, 4);
    EXPECT_EQ(track->file_pos, start + 1) << "kept: not on the next sample";
}

TEST_P(Reading, AtAPlaceReadsASliceAndRestsOnThatSample) {
    const auto at = [&](int sample, int offset, unsigned int length) {
        return isoFFreadAt(track, sample, offset, buffer.data(), length, &time, &cto);
    };
    EXPECT_EQ(at(5, 2, 100), 4);
    EXPECT_EQ(track->sample, 5);
    EXPECT_DOUBLE_EQ(time, 0.03);
    EXPECT_DOUBLE_EQ(cto, -0.01);
    EXPECT_EQ(at(5, 6, 1), 0);
    EXPECT_EQ(at(5, -1, 1), 0);
    EXPECT_EQ(at(5, 1, 0), 0);
    EXPECT_EQ(at(5, 1, 0xFFFFFFFF), 5);
    EXPECT_EQ(at(7, 0, 1), ISOFF_END);
    EXPECT_EQ(at(-1, 0, 1), ISOFF_END);
    EXPECT_EQ(isoFFreadAt(nullptr, 0, 0, buffer.data(), 1, nullptr, nullptr), ISOFF_END);
    f.host.clear_log();
    f.host.fault = MemoryHost::Fault{std::nullopt, 1, true};
    EXPECT_EQ(at(2, 0, 3), GetParam() ? ISOFF_NOT_YET : 0) << "positioned: the count alone";
    EXPECT_EQ(track->sample, 2) << "moved before the read";
    f.host.fault.reset();
    f.host.most_per_read = 1;
    EXPECT_EQ(at(2, 0, 3), GetParam() ? 3 : 1) << "indexed: the count is not looked at";
}

INSTANTIATE_TEST_SUITE_P(BothModes, Reading, testing::Bool(),
                         [](const auto& row) { return row.param ? "Indexed" : "Positioned"; });

TEST(Access, WithoutCttsTheOffsetIsZeroAndWithoutTimescaleTheTimeToo) {
    OpenedFile f(
        MoviePlan{{TrackPlan{.timescale = 0, .samples = {hex("01")}, .sample_entry = samr_entry()}}, true});
    double time = 7, cto = 7, length = 7;
    unsigned char byte = 0;
    isoFFtrackInfo(f.track(), nullptr, nullptr, &length, nullptr);
    EXPECT_EQ(isoFFread(f.track(), &byte, 1, &time, &cto), 1);
    EXPECT_EQ(std::tuple(time, cto, length), std::tuple(0.0, 0.0, 0.0));
}

TEST(Access, EmptySamplesAtTheEndLeaveTheCursorBehindTheLastChunk) {
    TrackPlan plan{.samples = {hex("01"), {}, {}}, .samples_per_chunk = 3, .sample_entry = samr_entry()};
    OpenedFile f(MoviePlan{{plan}, true});
    unsigned char byte = 0;
    for (const int size : {1, 0, 0, ISOFF_END})
        EXPECT_EQ(isoFFread(f.track(), &byte, 1, nullptr, nullptr), size);
    EXPECT_EQ(f.track()->chunk, 1);
}

// Steps of a constant size are taken many at once; a table of the same sizes is walked one by one.
TEST(Access, ConstantSizesAndATableOfThemGiveTheSameCursor) {
    TrackPlan plan{.samples_per_chunk = 7, .sample_entry = samr_entry()};
    plan.samples = std::vector<Bytes>(300, Bytes(5, 1));
    plan.stts = {{1, 3}, {0, 4}, {50, 5}, {1, 6}, {249, 7}};
    plan.ctts = {{100, 1}, {3, 2}, {197, 3}};
    OpenedFile sizes(MoviePlan{{plan}, true});
    plan.constant_size = true;
    OpenedFile constant(MoviePlan{{plan}, true});
    const unsigned int shift = constant.track()->chunks[0].start - sizes.track()->chunks[0].start;
    for (const int sample : {0, 1, 2, 6, 7, 8, 51, 52, 53, 54, 99, 100, 299, 48, 150, 149, 3}) {
        iso_track* a = sizes.track();
        iso_track* b = constant.track();
        isoFFsetPosition(a, sample);
        isoFFsetPosition(b, sample);
        EXPECT_EQ(b->file_pos - a->file_pos, shift) << sample;
        EXPECT_EQ(std::tie(a->sample, a->chunk, a->stts_index, a->stts_run, a->ctts_index, a->ctts_run),
                  std::tie(b->sample, b->chunk, b->stts_index, b->stts_run, b->ctts_index, b->ctts_run));
    }
}

TEST(Access, TheFarEndOfAHugeUniformTrackIsReachedAtOnce) {
    OpenedFile f(moov_file({stbl_trak({table("stts", 1, {0x7FFFFFFF, 1}), table("stsz", 1, {0x7FFFFFFF}),
                                       table("stsc", 1, {1, 0x7FFFFFFF, 1}), table("stco", 1, {64})})}));
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(isoFFsetPosition(f.track(), 0x7FFFFFFE), 0);
        ASSERT_EQ(f.track()->file_pos, 64U + 0x7FFFFFFE);
        ASSERT_EQ(isoFFsetPosition(f.track(), 0), 0);
    }
}

// The third sample lies wholly behind the end, until the file has grown.
TEST(Access, EndsWherePositionedReadingBringsNothingAndGoesOnWhenItDoes) {
    OpenedFile f(MoviePlan{
        {{.samples = {4, Bytes(10, 7)}, .samples_per_chunk = 4, .sample_entry = samr_entry()}}, true});
    const Bytes whole = f.host.bytes;
    f.host.bytes.resize(whole.size() - 25);
    Bytes buffer(10);
    const auto read = [&] { return isoFFread(f.track(), buffer.data(), 10, nullptr, nullptr); };
    EXPECT_EQ(read(), 10);
    EXPECT_EQ(read(), 5) << "what there is of it";
    isoFFsetPosition(f.track(), 2);
    EXPECT_EQ(read(), ISOFF_END);
    EXPECT_EQ(f.track()->sample, 2);
    f.host.bytes = whole;
    EXPECT_EQ(read(), 10);
}

// A place near every sample of a track, whatever its tables, and the cursor of the plain walk there.
TEST(Places, LeadToAnySampleInABoundedNumberOfStrides) {
    const Bytes times = table("stts", 5, {700, 3, 0, 7, 1, 2, 8000, 4, 0x7FFFFFFF, 1});
    const Bytes offsets = table("ctts", 3, {5, 1, 5000, 2, 0x7FFFFFFF, 3});
    ByteWriter sizes, starts;
    for (unsigned int i = 0; i < 9000; ++i)
        sizes.u32(i % 7 == 0 ? 0 : i % 50);
    for (unsigned int i = 0; i < 3000; ++i)
        starts.u32(1000 * i);
    const Bytes chunks =
        join({table("stsc", 2, {1, 1, 1, 1500, 5, 1}), full_box("stco", ByteWriter().u32(3000).raw(starts))});
    for (const Bytes& of_all :
         {full_box("stsz", ByteWriter().u32(0).u32(9000).raw(sizes)), table("stsz", 9, {9000}),
          table("stsz", 0x70000000, {9000})}) {  // positions wrap around
        OpenedFile f(moov_file({stbl_trak({times, offsets, of_all, chunks})}));
        iso_track* track = f.track();
        ASSERT_GT(track->sample_count, 8000);
        const int64_t room = qlip::SamplePlaces::room_for(track);
        const int64_t tables = 4 * (track->sample_size ? 0 : track->sample_count) +
                               8 * (track->chunk_count + track->stts_count + track->ctts_count);
        EXPECT_LE((room - 1) * int64_t{sizeof(qlip::Cursor)}, tables / 8);
        std::vector<qlip::Cursor> memory(static_cast<size_t>(room));
        qlip::SamplePlaces places(memory.data(), room);
        unsigned int random = 1;
        for (int i = 0; i < 2000; ++i) {
            random = random * 1664525 + 1013904223;
            const int sample =
                static_cast<int>((random >> 8) % static_cast<unsigned int>(track->sample_count));
            const qlip::Cursor before = qlip::Cursor::of(track);
            set_sample_pos(track, sample);
            const qlip::Cursor plain = qlip::Cursor::of(track);
            before.put_into(track);
            places.prepare(track, sample);
            int strides = 0;
            for (; track->sample < sample; ++strides)
                qlip::stride(track, sample);
            ASSERT_LE(strides, qlip::SamplePlaces::kStrides) << sample;
            ASSERT_EQ(qlip::Cursor::of(track), plain) << sample;
            places.remember(track);
        }
    }
}

TEST(Info, TellsAboutFileAndTracks) {
    OpenedFile f(seven_samples());
    int tracks = 0, bytes = 0, kind = 0, samples = 0;
    double time = 0;
    EXPECT_EQ(isoFFfileInfo(f.file, &tracks, &time, &bytes), 0);
    EXPECT_EQ(std::tuple(tracks, time, bytes), std::tuple(2, 102 / 600.0, 28 + 27));
    EXPECT_EQ(isoFFtrackInfo(f.track(), &kind, &samples, &time, &bytes), 0);
    EXPECT_EQ(std::tuple(kind, samples, time, bytes), std::tuple(ISO_CODEC_SAMR, 7, 0.17, 28));
    EXPECT_EQ(isoFFfileInfo(f.file, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(isoFFfileInfo(nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(isoFFtrackInfo(nullptr, nullptr, nullptr, nullptr, nullptr), -1);
    char video[] = "vide", sound[] = "soun";
    EXPECT_EQ(isoFFselect(f.file, video, 1), nullptr);
    EXPECT_EQ(isoFFselect(f.file, sound, 2), f.track(2));
}

}  // namespace
}  // namespace qlip_test
