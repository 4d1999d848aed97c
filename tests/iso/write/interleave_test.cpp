#include "tests/iso/opened_file.h"

namespace qlip_test {
namespace {

double interleave_of(std::vector<TrackPlan> tracks) {
    return isoFFgetInterleave(OpenedFile({.tracks = std::move(tracks)}).file);
}

TrackPlan plan(unsigned int id, size_t samples, unsigned int per_chunk) {
    TrackPlan track;
    track.id = id;
    track.samples.assign(samples, Bytes(10, static_cast<unsigned char>(id)));
    track.samples_per_chunk = per_chunk;
    track.sample_entry = samr_entry();
    return track;
}

TEST(InterleaveTest, TheLongestRunOfOneTrackAheadOfAnotherCounts) {
    EXPECT_NEAR(interleave_of({plan(1, 100, 10), plan(2, 100, 25)}), 25 * 0.02, 1e-9);
    EXPECT_EQ(interleave_of({plan(1, 100, 10)}), 0.0);
    EXPECT_EQ(isoFFgetInterleave(nullptr), -1.0);
}

// A file can claim any number of samples of a constant size, and tracks that lie over each other.
TEST(InterleaveTest, HugeTracksEnd) {
    constexpr int kSamples = 0x7FFFFFFF;
    int durations[][2] = {{100, 3}, {kSamples, 5}};
    iso_track tracks[3] = {};
    chunk_span chunks[] = {{0, kSamples}, {1000, 1000U + kSamples}, {1000, 1000U + kSamples}};
    for (int i = 0; i < 3; ++i) {
        tracks[i].chunks = &chunks[i];
        tracks[i].chunk_count = 1;
        tracks[i].sample_count = kSamples;
        tracks[i].sample_size = 1;
        tracks[i].timescale = 1;
        tracks[i].stts = durations;
        tracks[i].stts_count = 2;
    }
    iso_file file{};
    file.tracks = tracks;
    tracks[0].next = &tracks[1];
    EXPECT_EQ(isoFFgetInterleave(&file), 100 * 3.0 + 900 * 5.0) << "up to where the second one begins";
    file.tracks = &tracks[1];
    tracks[1].next = &tracks[2];
    EXPECT_EQ(isoFFgetInterleave(&file), 5.0);
}

}  // namespace
}  // namespace qlip_test
