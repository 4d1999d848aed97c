// Whole files worked out on paper, and how far the tracks of a file lie apart.
#include "tests/iso/opened_file.h"
#include "tests/iso/write/writer_fixture.h"

namespace qlip_test {
namespace {

// Three 20 ms frames of 13, 13 and 6 bytes, and two pictures of 5 and 7 bytes of 1/30 s each.
void write_small_movie(WriterFixture& movie) {
    iso_track* audio = movie.add_amr();
    iso_track* video = movie.add_h263();
    EXPECT_EQ(movie.write(audio, 13, 'a'), 13);
    EXPECT_EQ(movie.write(video, 5, 'v'), 5);
    EXPECT_EQ(movie.write(audio, 13, 'b'), 13);
    EXPECT_EQ(movie.write(video, 7, 'w'), 7);
    EXPECT_EQ(movie.write(audio, 6, 'c'), 6);
}

Bytes frames(std::initializer_list<std::pair<size_t, char>> runs) {
    Bytes out;
    for (const auto& [count, fill] : runs)
        out.insert(out.end(), count, static_cast<unsigned char>(fill));
    return out;
}

// stsz payloads: a size for each sample, since they differ.
const Bytes kAudioSizes = ByteWriter().u32(0).u32(3).u32(13).u32(13).u32(6);
const Bytes kVideoSizes = ByteWriter().u32(0).u32(2).u32(5).u32(7);

// Durations: 480/8000 s is 36 units of 1/600 s, 2/30 s is 40.
Bytes expected_moov(const std::vector<unsigned int>& audio, const std::vector<unsigned int>& video) {
    return container("moov", {expected_mvhd(40, 3), expected_amr_trak(1, 36, {3, kAudioSizes, audio}),
                              expected_h263_trak(2, 40, {2, kVideoSizes, video})});
}

// In the one round of normal mode the audio ends at 0.06 s, and pulls the limit down to it: the first picture
// ends at 0.033 s, the second would pass 0.06 s and waits for the next round. One slice of direct mode is a
// second, so all audio comes first; the pictures wait until the audio track is closed.
TEST(WriterLayoutTest, TheHeaderStandsInFrontOfTheMediaAndInDirectModeBehind) {
    const Bytes mdat = box("mdat", frames({{13, 'a'}, {13, 'b'}, {6, 'c'}, {5, 'v'}, {7, 'w'}}));
    for (const bool direct : {false, true}) {
        WriterFixture movie;
        if (direct) movie.direct(2);
        write_small_movie(movie);
        const size_t moov_size = direct ? 0 : expected_moov({0, 0, 0}, {0, 0}).size();
        const auto base = static_cast<unsigned int>(expected_ftyp().size() + moov_size + 8);
        const Bytes moov = expected_moov({base, base + 13, base + 26}, {base + 32, base + 37});
        const Bytes expected =
            direct ? join({expected_ftyp(), mdat, moov}) : join({expected_ftyp(), moov, mdat});
        EXPECT_EQ(movie.close(), expected) << direct;
    }
}

// Round limits of 0.02 s take a and v, as a track always moves on by a frame; the next rounds take b and w,
// then c.
TEST(WriterLayoutTest, ShortRoundsInterleaveByTime) {
    // In direct mode a slice is full ahead of the frame that would pass its end: audio a to 0.02, video v to
    // 0.033, and so on. Slices of no length hold a frame each, which here is the same.
    const Bytes media = frames({{13, 'a'}, {5, 'v'}, {13, 'b'}, {7, 'w'}, {6, 'c'}});
    for (const auto& [direct, period] : {std::pair(false, 0.02), {true, 0.04}, {true, 0.0}, {true, -1.0}}) {
        WriterFixture movie;
        if (direct) movie.direct(2);
        movie.file->interleave_period = period;
        write_small_movie(movie);
        const Bytes& out = movie.close();
        const size_t at = direct ? expected_ftyp().size() + 8 : out.size() - media.size();
        EXPECT_EQ(slice(out, at, media.size()), media) << period;
    }
}

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
