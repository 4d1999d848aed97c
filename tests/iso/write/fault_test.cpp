// An output that fails: what is left must not claim more than it holds.
#include <gtest/gtest.h>

#include "tests/iso/write/writer_fixture.h"

namespace qlip_test {
namespace {

// Two tracks that alternate on the output.
void write_movie(WriterFixture& movie) {
    movie.file->interleave_period = 0.1;
    iso_track* audio = movie.add_amr();
    iso_track* video = movie.add_h263(30);
    for (int i = 0; i < 20; ++i) {
        movie.write(audio, 13 + i % 3, static_cast<unsigned char>(i));
        if (i % 2 == 0) movie.write(video, 40 + i, static_cast<unsigned char>(100 + i));
    }
}

// The header finds room in what was taken of the last frame, so that no frame is dropped.
TEST(FailingOutputTest, AnEmptyFrameThatWaitsIsNotTakenForAWrittenOne) {
    WriterFixture movie;
    movie.direct(2);
    movie.file->interleave_period = 1.01;
    iso_track* video = movie.add_h263(30);
    iso_track* audio = movie.add_amr();
    for (int i = 0; i < 30; ++i)
        EXPECT_EQ(movie.write(video, 10, 'v'), 10);
    EXPECT_EQ(isoFFwrite(video, nullptr, 0, 1, 0), 0);
    setvbuf(movie.out.stream(), nullptr, _IONBF, 0);
    movie.out.capacity = 3000;
    EXPECT_EQ(movie.write(audio, 13, 'a'), 13);
    EXPECT_EQ(movie.write(audio, 4000, 'b'), -5);
    EXPECT_EQ(movie.write(audio, 13, 'c'), -5);
    EXPECT_NE(movie.file->status_flags & ISO_STATUS_WRITE_FAILED, 0U);
    const Bytes& out = movie.close();
    EXPECT_EQ(read_back(out, 1).size(), 30U);
    EXPECT_EQ(read_back(out, 2).size(), 1U);
}

TEST(FailingOutputTest, NoOutputAndNoSeekingEndWithoutACrash) {
    for (const bool direct : {false, true}) {
        WriterFixture nowhere;
        nowhere.file->stream = nullptr;
        if (direct) nowhere.direct(2);
        write_movie(nowhere);
        EXPECT_EQ((nowhere.file->status_flags & ISO_STATUS_WRITE_FAILED) != 0, direct);
        EXPECT_TRUE(nowhere.close().empty());

        WriterFixture stuck;
        stuck.out.seekable = false;
        if (direct) stuck.direct(2);
        write_movie(stuck);
        stuck.close();
    }
}

TEST(FailingOutputTest, AFailedSpillStreamLosesItsFrameOnly) {
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    FILE* spill = fopen("/dev/full", "w+");
    ASSERT_NE(spill, nullptr);
    setvbuf(spill, nullptr, _IONBF, 0);
    track->spill_file = spill;
    EXPECT_EQ(movie.write(track, 13, 'x'), -5);
    EXPECT_EQ(track->sample_count, 0);
    EXPECT_EQ(movie.write(track, 13, 'x'), -5);
}

}  // namespace
}  // namespace qlip_test
