// Every sample file read with the engine, written again, and read back.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/samples.h"
#include "tests/writer/writer_fixture.h"

namespace qlip_test {
namespace {

// A file that was read, for as long as its tracks are copied.
class Source {
  public:
    explicit Source(const std::string& name) : host_(sample(name)) {
        auto* io = host_.record();
        char mode[] = "r";
        file = isoFFopen(io, mode, nullptr);
    }
    ~Source() { isoFFclose(file); }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    iso_file* file;

  private:
    MemoryHost host_;
};

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

void copy_samples(iso_track* from, iso_track* to) {
    Bytes buffer(64000);
    for (;;) {
        double seconds = 0;
        double offset = 0;
        const int n = isoFFread(from, buffer.data(), 64000, &seconds, &offset);
        if (n < 0) return;
        const auto units = [from](double time) { return static_cast<int>(time * from->timescale + 0.5); };
        ASSERT_EQ(isoFFwrite(to, buffer.data(), n, units(seconds), units(offset)), n);
    }
}

class WriterRoundTripTest : public testing::TestWithParam<std::string> {};

TEST_P(WriterRoundTripTest, SamplesConfigurationAndTimesSurvive) {
    const Bytes original = sample(GetParam());
    for (const bool direct : {false, true}) {
        Source source(GetParam());
        WriterFixture movie;
        int tracks = 0;
        std::vector<std::pair<iso_track*, iso_track*>> pairs;
        for (iso_track* track = source.file->tracks; track; track = track->next) {
            if (track->codec < 0 || track->codec > ISO_CODEC_SAWB) continue;
            pairs.emplace_back(track, isoFFtrack(movie.file));
            copy_description(track, pairs.back().second);
            if (track->codec != ISO_CODEC_AVC1) {
                isoFFsetDecoderSpecificInfo(pairs.back().second, track->dsi, track->dsi_size);
            }
            ++tracks;
        }
        if (direct) movie.direct(tracks);
        for (const auto& [from, to] : pairs)
            copy_samples(from, to);
        const Bytes written = movie.close();

        MemoryHost host(written);
        auto* io = host.record();
        char mode[] = "r";
        iso_file* again = isoFFopen(io, mode, nullptr);
        iso_track* copy = again->tracks;
        for (const auto& [from, to] : pairs) {
            ASSERT_NE(copy, nullptr);
            EXPECT_EQ(copy->codec, from->codec);
            EXPECT_EQ(copy->duration, from->duration);
            EXPECT_EQ(copy->width, from->width);
            ASSERT_EQ(copy->dsi_size, from->dsi_size);
            EXPECT_EQ(Bytes(copy->dsi, copy->dsi + copy->dsi_size),
                      Bytes(from->dsi, from->dsi + from->dsi_size));
            copy = copy->next;
        }
        isoFFclose(again);
        int number = 0;
        int index = 0;
        for (iso_track* track = source.file->tracks; track; track = track->next) {
            ++index;
            if (track->codec < 0 || track->codec > ISO_CODEC_SAWB) continue;
            EXPECT_EQ(read_back(written, ++number), read_back(original, index)) << "direct " << direct;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Samples, WriterRoundTripTest, testing::ValuesIn(sample_names()),
                         [](const auto& row) { return row.param.substr(0, row.param.find('.')); });

TEST(SpillTest, FramesPassThroughAScratchStream) {
    WriterFixture movie;
    iso_track* track = movie.add_amr();
    track->spill_file = tmpfile();
    std::vector<Bytes> frames;
    for (int i = 0; i < 40; ++i) {
        frames.emplace_back(static_cast<size_t>(300 * i), static_cast<unsigned char>(i));
        ASSERT_EQ(movie.write(track, 300 * i, static_cast<unsigned char>(i)), 300 * i);
        EXPECT_EQ(track->data_cursor->data, nullptr);
    }
    EXPECT_EQ(read_back(movie.close(), 1), frames);
}

}  // namespace
}  // namespace qlip_test
