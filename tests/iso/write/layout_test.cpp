// Where things lie in a file, and how far the tracks of a file lie apart.
#include "common/byte_order.h"
#include "tests/iso/opened_file.h"
#include "tests/iso/write/writer_fixture.h"

namespace qlip_test {
namespace {

using qlip::load_be32;

// The types of a file's boxes, in their order; the last one ends where its surroundings do.
std::string outline(const Bytes& file, size_t at, size_t end) {
    constexpr std::string_view kContainers = "moov trak mdia minf dinf stbl";
    std::string out;
    while (at + 8 <= end) {
        const size_t size = std::max(load_be32(&file[at]), 8U);
        const std::string type(file.begin() + static_cast<long>(at) + 4,
                               file.begin() + static_cast<long>(at) + 8);
        out += type;
        if (kContainers.find(type) != std::string_view::npos)
            out += "(" + outline(file, at + 8, at + size) + ")";
        out += ' ';
        at += size;
    }
    EXPECT_EQ(at, end);
    return out;
}

// Three 20 ms frames a, b and c, and two pictures v and w of 1/30 s each. In the one round of normal mode the
// audio ends at 0.06 s, and pulls the limit down to it: the first picture ends at 0.033 s, the second would
// pass 0.06 s and waits for the next round. Round limits of 0.02 s take a and v, as a track always moves on
// by a frame; the next rounds take b and w, then c. In direct mode a slice is full ahead of the frame that
// would pass its end; slices of no length hold a frame each. The pictures of the last slice wait until the
// audio track is closed.
TEST(WriterLayoutTest, FramesLieInRoundsOrSlicesAndTheHeaderInFrontOrBehind) {
    const std::string tables = "dinf(dref ) stbl(stts stsd stsz stsc stco ) ) ) ) ";
    const std::string moov = "moov(mvhd trak(tkhd mdia(mdhd hdlr minf(smhd " + tables +
                             "trak(tkhd mdia(mdhd hdlr minf(vmhd " + tables + ") ";
    const std::vector<Bytes> audio = {Bytes(13, 'a'), Bytes(13, 'b'), Bytes(6, 'c')};
    const std::vector<Bytes> video = {Bytes(5, 'v'), Bytes(7, 'w')};
    for (const auto& [direct, period, media] :
         {std::tuple(false, 1.0, join({audio[0], audio[1], audio[2], video[0], video[1]})),
          {true, 1.0, join({audio[0], audio[1], audio[2], video[0], video[1]})},
          {false, 0.02, join({audio[0], video[0], audio[1], video[1], audio[2]})},
          {true, 0.04, join({audio[0], video[0], audio[1], video[1], audio[2]})},
          {true, 0.0, join({audio[0], video[0], audio[1], video[1], audio[2]})},
          {true, -1.0, join({audio[0], video[0], audio[1], video[1], audio[2]})}}) {
        SCOPED_TRACE(period);
        WriterFixture movie;
        if (direct) movie.direct(2);
        movie.file->interleave_period = period;
        iso_track* tracks[] = {movie.add_amr(), movie.add_h263()};
        for (size_t i = 0; i < 5; ++i) {
            const Bytes& frame = i % 2 == 0 ? audio[i / 2] : video[i / 2];
            movie.write(tracks[i % 2], static_cast<int>(frame.size()), frame[0]);
        }
        const Bytes& out = movie.close();
        EXPECT_EQ(outline(out, 0, out.size()), direct ? "ftyp mdat " + moov : "ftyp " + moov + "mdat ");
        constexpr size_t kDirectStart = 24 + 8;
        EXPECT_EQ(slice(out, direct ? kDirectStart : out.size() - media.size(), media.size()), media);
        EXPECT_EQ(read_back(out, 1), audio);
        EXPECT_EQ(read_back(out, 2), video);
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

// The header's place, the media and the header go out in large pieces, each in one write or two.
TEST(WriterLayoutTest, ManyFramesTakeFewWrites) {
    constexpr int kFrames = 40000;
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    for (int i = 0; i < kFrames; ++i)
        movie.write(track, 31 + i % 2, 'f');
    const size_t header = 8 * kFrames;
    const size_t media = 31 * kFrames + kFrames / 2;
    EXPECT_GT(movie.close().size(), header + media);
    EXPECT_LE(movie.out.writes, 2 * ((2 * header + media) / (256 * 1024) + 3));
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
