// Every sample file read with the engine, written again, and read back; then random recordings.
#include <cstring>
#include <random>

#include "tests/iso/opened_file.h"
#include "tests/iso/write/writer_fixture.h"
#include "tests/support/recording.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

void copy_description(const iso_track* from, iso_track* to) {
    std::strcpy(to->handler, from->handler);
    std::strcpy(to->vendor, from->vendor);
    to->codec = from->codec;
    to->timescale = from->timescale;
    to->level = from->level;
    to->profile = from->profile;
    to->mode_set = from->mode_set;
    to->object_type = from->object_type;
    to->stream_type = from->stream_type;
    to->width = from->width;
    to->height = from->height;
    to->profile_compat = from->profile_compat;
    to->nal_length_size = from->nal_length_size;
    to->sps_count = from->sps_count;
    to->sps = from->sps;
    to->pps_count = from->pps_count;
    to->pps = from->pps;
}

bool can_be_copied(const iso_track* track) {
    return track->codec >= 0 && track->codec <= ISO_CODEC_SAWB;
}

iso_track* copy_track(WriterFixture& movie, const iso_track* from) {
    iso_track* to = isoFFtrack(movie.file);
    copy_description(from, to);
    // The writer builds an H.264 configuration from its sets.
    if (from->codec != ISO_CODEC_AVC1) isoFFsetDecoderSpecificInfo(to, from->dsi, from->dsi_size);
    return to;
}

void copy_samples(iso_track* from, iso_track* to) {
    Bytes buffer(64000);
    double seconds = 0;
    double offset = 0;
    const auto units = [from](double time) { return static_cast<int>(time * from->timescale + 0.5); };
    for (int n; (n = isoFFread(from, buffer.data(), 64000, &seconds, &offset)) >= 0;)
        ASSERT_EQ(isoFFwrite(to, buffer.data(), n, units(seconds), units(offset)), n);
}

class WriterRoundTripTest : public testing::TestWithParam<std::string> {};

TEST_P(WriterRoundTripTest, SamplesConfigurationAndTimesSurvive) {
    for (const bool direct : {false, true}) {
        OpenedFile source(sample(GetParam()));
        WriterFixture movie;
        std::vector<std::pair<iso_track*, iso_track*>> pairs;
        for (iso_track* track = source.file->tracks; track; track = track->next) {
            if (can_be_copied(track)) pairs.emplace_back(track, copy_track(movie, track));
        }
        if (direct) movie.direct(static_cast<int>(pairs.size()));
        for (const auto& [from, to] : pairs)
            copy_samples(from, to);
        OpenedFile written(movie.close());
        int number = 0;
        for (const auto& [from, to] : pairs) {
            iso_track* copy = written.track(++number);
            ASSERT_NE(copy, nullptr);
            EXPECT_EQ(copy->codec, from->codec);
            EXPECT_EQ(copy->duration, from->duration);
            EXPECT_EQ(copy->width, from->width);
            EXPECT_EQ(Bytes(copy->dsi, copy->dsi + copy->dsi_size),
                      Bytes(from->dsi, from->dsi + from->dsi_size));
            isoFFsetPosition(from, 0);
            EXPECT_EQ(samples_of(copy), samples_of(from)) << "direct " << direct;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, WriterRoundTripTest, testing::ValuesIn(sample_names()),
                         [](const auto& row) { return row.param.substr(0, row.param.find('.')); });

// The same ones in every run.
TEST(RecordingTest, EveryListedSampleIsTheFrameThatWasGivenAndEveryTrackIsThere) {
    constexpr unsigned int kRecordings = 3000;
    std::string fault;
    unsigned int seed = 0;
    testing::internal::CaptureStdout();
    for (; seed < kRecordings && fault.empty(); ++seed) {
        std::mt19937 random(seed);
        Bytes decisions(16 + random() % (seed % 10 == 0 ? 2000 : 200));
        for (unsigned char& byte : decisions)
            byte = static_cast<unsigned char>(random());
        fault = check_recording(decisions.data(), decisions.size());
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "") << "both passes agree";
    EXPECT_EQ(fault, "") << "recording " << seed;
}

}  // namespace
}  // namespace qlip_test
