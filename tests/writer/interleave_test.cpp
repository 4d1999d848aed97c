#include <gtest/gtest.h>

#include "qlip/isoff.h"
#include "tests/support/movie_builder.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

double interleave_of(const Bytes& bytes) {
    MemoryHost host(bytes);
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    const double result = isoFFgetInterleave(file);
    isoFFclose(file);
    return result;
}

TrackPlan plan(unsigned int id, size_t samples, unsigned int per_chunk) {
    TrackPlan track;
    track.id = id;
    track.samples.assign(samples, Bytes(10, static_cast<unsigned char>(id)));
    track.samples_per_chunk = per_chunk;
    track.sample_entry = samr_entry();
    return track;
}

TEST(InterleaveTest, TheLongestRunOfOneTrackCounts) {
    EXPECT_NEAR(interleave_of(build_movie({.tracks = {plan(1, 100, 10), plan(2, 100, 25)}})), 25 * 0.02,
                1e-9);
}

TEST(InterleaveTest, ASingleTrackHasNoOtherToWaitFor) {
    EXPECT_EQ(interleave_of(build_movie({.tracks = {plan(1, 100, 10)}})), 0.0);
    EXPECT_EQ(isoFFgetInterleave(nullptr), -1.0);
}

TEST(InterleaveTest, TracksAtTheSamePlaceEnd) {
    Bytes bytes = build_movie({.tracks = {plan(1, 10, 1), plan(2, 10, 1)}, .moov_first = true});
    for (size_t i = 0; i + 4 <= bytes.size(); ++i) {
        if (std::string(bytes.begin() + static_cast<long>(i), bytes.begin() + static_cast<long>(i) + 4) ==
            "stco") {
            std::fill_n(bytes.begin() + static_cast<long>(i) + 12, 40, 0);
        }
    }
    EXPECT_GE(interleave_of(bytes), 0.0);
}

}  // namespace
}  // namespace qlip_test
