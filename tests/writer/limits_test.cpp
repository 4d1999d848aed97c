// What a track takes and what it refuses, and what is left of a file that is too long.
#include <gtest/gtest.h>

#include "tests/writer/writer_fixture.h"

namespace qlip_test {
namespace {

TEST(IsoffWriteTest, TestsComeInTheirOrder) {
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    unsigned char frame[13] = {};
    EXPECT_EQ(isoFFwrite(nullptr, frame, 13, 160, 0), -1);
    track->flags |= ISO_TRACK_CLOSED;
    EXPECT_EQ(isoFFwrite(track, frame, -1, 160, 0), -1);
    EXPECT_EQ(isoFFwrite(track, frame, 13, 160, 0), -8);
    movie.file->status_flags |= ISO_STATUS_WRITE_FAILED;
    EXPECT_EQ(isoFFwrite(track, frame, 13, 160, 0), -5);
}

TEST(IsoffWriteTest, AZeroDeltaRepeatsTheLastOne) {
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    movie.write(track, 13, 'x', 40);
    movie.write(track, 13, 'x', 0);
    movie.write(track, 13, 'x', 0);
    EXPECT_EQ(track->duration, 120U);
    EXPECT_EQ(track->stts_count, 1);
}

TEST(IsoffWriteTest, AFullFileAndADurationLimitCloseTheTrack) {
    for (const int refusal : {ISO_WRITE_FILE_FULL, ISO_WRITE_TOO_LONG}) {
        WriterFixture movie;
        iso_track* track = movie.add_amr();
        (refusal == ISO_WRITE_FILE_FULL ? movie.file->max_file_size : track->duration_limit) =
            refusal == ISO_WRITE_FILE_FULL ? 13 + 24 : 160;
        EXPECT_EQ(movie.write(track, 13, 'x'), 13);
        EXPECT_EQ(movie.write(track, 13, 'x'), refusal);
        movie.file->max_file_size = track->duration_limit = 0x7FFFFFFF;
        EXPECT_EQ(movie.write(track, 13, 'x'), ISO_WRITE_TRACK_CLOSED);
        EXPECT_EQ(read_back(movie.close(), 1).size(), 1U);
    }
}

TEST(IsoffWriteTest, DirectModeKnowsItsTracks) {
    WriterFixture movie;
    movie.direct(1);
    movie.add_amr();
    iso_track* second = movie.add_amr();
    EXPECT_EQ(movie.write(second, 13, 'x'), -9);
    EXPECT_EQ(second->sample_count, 0);
}

// Turns go by the track's place in the file, which a host can make differ from its id.
TEST(IsoffWriteTest, FramesOfATrackThatHasNoTurnAreLeftOut) {
    WriterFixture movie;
    movie.direct(1);
    movie.add_amr();
    iso_track* second = movie.add_amr();
    second->track_id = 1;
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(movie.write(second, 13 + i, 'x'), 13 + i);
    testing::internal::CaptureStdout();
    movie.close();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "the tables are as long as they say";
}

TEST(IsoffWriteTest, AFrameDroppedForRoomInDirectModeIsAcceptedAndClosesTheTrack) {
    WriterFixture movie;
    movie.direct(1);
    iso_track* track = movie.add_amr();
    movie.file->max_file_size = movie.file->header_bytes + 13 + 24;
    EXPECT_EQ(movie.write(track, 13, 'x'), 13);
    EXPECT_EQ(movie.write(track, 13, 'y'), 13);
    EXPECT_EQ(movie.write(track, 13, 'z'), -8);
    EXPECT_EQ(read_back(movie.close(), 1), std::vector<Bytes>{Bytes(13, 'x')});
}

TEST(FileLimitTest, SyncSamplesAndGroupsAreCutWithTheSamples) {
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    for (int i = 0; i < 300; ++i)
        movie.write(track, 13 + i % 2, 'a');
    iso_sync_sample late = {290, nullptr};
    iso_sync_sample early = {1, &late};
    track->sync_list = &early;
    track->sync_count = 2;
    iso_group_run tail = {280, 2, nullptr};
    iso_group_run head = {20, 1, &tail};
    track->sbgp = &head;
    track->sbgp_count = 2;
    movie.file->max_file_size = 4000;
    const Bytes out = movie.close();
    const Bytes stss = full_box("stss", ByteWriter().u32(1).u32(1));
    const Bytes sbgp = full_box("sbgp", ByteWriter().zeros(4).u32(1).u32(20).u32(1));
    EXPECT_NE(std::search(out.begin(), out.end(), stss.begin(), stss.end()), out.end());
    EXPECT_NE(std::search(out.begin(), out.end(), sbgp.begin(), sbgp.end()), out.end())
        << "the run that passes the end goes as a whole";
}

}  // namespace
}  // namespace qlip_test
