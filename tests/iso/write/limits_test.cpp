// What a track takes and what it refuses, and what is left of a file that is too long.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/iso/write/writer_fixture.h"

namespace qlip_test {
namespace {

TEST(IsoffWriteTest, TestsComeInTheirOrder) {
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    unsigned char frame[13] = {};
    EXPECT_EQ(isoFFwrite(nullptr, frame, 13, 160, 0), -1);
    track->flags |= ISO_TRACK_CLOSED;
    EXPECT_EQ(isoFFwrite(track, frame, -1, 160, 0), -1);
    EXPECT_EQ(isoFFwrite(track, nullptr, 13, 160, 0), -1);
    EXPECT_EQ(isoFFwrite(track, frame, 13, 160, 0), -8);
    movie.direct(1);
    iso_track* second = movie.add_amr();
    EXPECT_EQ(movie.write(second, 13, 'x'), -9);
    EXPECT_EQ(second->sample_count, 0);
    movie.file->status_flags |= ISO_STATUS_WRITE_FAILED;
    EXPECT_EQ(isoFFwrite(track, frame, 13, 160, 0), -5);
}

// Two frames of 13 bytes, the second with the delta of the first, then one that differs in size, duration and
// offset. A frame costs its bytes and 4, the first one 8 for its rows, a size of its own 4, a change of
// duration or offset 8; the end of the constant size 4 for each sample, which in direct mode are those ahead
// of it and else count it as well.
TEST(IsoffWriteTest, EveryFrameIsAccountedFor) {
    constexpr unsigned int kFrames = (13 + 4 + 8) + (13 + 4) + (6 + 4 + 4 + 8 + 8);
    for (const bool direct : {false, true}) {
        WriterFixture movie;
        if (direct) movie.direct(1);
        iso_track* track = movie.add_amr();
        for (const int delta : {160, 0, 320})
            movie.write(track, delta == 320 ? 6 : 13, 'x', delta, delta == 320 ? 5 : 0);
        EXPECT_EQ(track->estimated_bytes, direct ? 17U + 17 + 10 : kFrames + 3 * 4);
        EXPECT_EQ(track->written_cost, direct ? kFrames + 2 * 4 : 0);
        // An AMR track's boxes take 69 bytes more than every track is charged.
        EXPECT_EQ(movie.file->header_bytes, 194U + 325 + (direct ? 69 : 0) + track->written_cost);
        EXPECT_EQ(track->stts_count + track->ctts_count, 4);
        EXPECT_EQ(track->duration, 640U);
        EXPECT_EQ(track->buffer_size_db, 13U);
        EXPECT_EQ(track->total_bytes, 32U);
    }
}

// In direct mode a frame that is dropped for room is accepted all the same.
TEST(IsoffWriteTest, AFullFileAndADurationLimitCloseTheTrack) {
    for (const int result : {int{ISO_WRITE_FILE_FULL}, int{ISO_WRITE_TOO_LONG}, 13}) {
        WriterFixture movie;
        if (result == 13) movie.direct(1);
        iso_track* track = movie.add_amr();
        if (result == ISO_WRITE_TOO_LONG) track->duration_limit = 160;
        if (result == ISO_WRITE_FILE_FULL) movie.file->max_file_size = 13 + 24;
        if (result == 13) movie.file->max_file_size = movie.file->header_bytes + 69 + 13 + 24;
        EXPECT_EQ(movie.write(track, 13, 'x'), 13);
        EXPECT_EQ(movie.write(track, 13, 'y'), result);
        movie.file->max_file_size = track->duration_limit = 0x7FFFFFFF;
        EXPECT_EQ(movie.write(track, 13, 'z'), ISO_WRITE_TRACK_CLOSED);
        EXPECT_EQ(read_back(movie.close(), 1), std::vector<Bytes>{Bytes(13, 'x')});
    }
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

// In one round, the audio stops at 0.6 s, short of 1 s, and takes the video along. Of the whole file there is
// room for four frames: 1,034 bytes of header, 112 for each track's first frame and 104 for the next ones.
TEST(FileLimitTest, FramesAreKeptInTheOrderOfTheFileWhereARoundEndsForAllTracksWhenOneStops) {
    for (const auto& [most, kept] :
         {std::pair(0x7FFFFFFFU, "a12b3456"), {1034 + 2 * 112 + 104 + 100 + 24, "a12b"}}) {
        WriterFixture movie;
        iso_track* audio = movie.add_amr();
        iso_track* video = movie.add_h263(4);
        for (const char fill : {'a', 'b'})
            movie.write(audio, 100, static_cast<unsigned char>(fill), 4800);
        for (const char fill : {'1', '2', '3', '4', '5', '6'})
            movie.write(video, 100, static_cast<unsigned char>(fill));
        movie.file->max_file_size = most;
        const Bytes& out = movie.close();
        std::string order;
        for (size_t at = out.size() - 100 * std::strlen(kept); at < out.size(); at += 100)
            order += static_cast<char>(out[at]);
        EXPECT_EQ(order, kept);
        EXPECT_EQ(read_back(out, 1).size() + read_back(out, 2).size(), order.size());
    }
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
