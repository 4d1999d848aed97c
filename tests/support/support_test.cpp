// The test host and the builders stand under every other test, so they are tested themselves.
#include <gtest/gtest.h>

#include "tests/support/movie_builder.h"
#include "tests/support/samples.h"

namespace qlip_test {
namespace {

TEST(MemoryHostTest, ReadsMoveThePositionAndComeBackShortAtTheEnd) {
    MemoryHost host({1, 2, 3, 4, 5});
    auto* io = host.record();
    unsigned char data[4] = {};
    unsigned int count = 4;
    EXPECT_EQ(io->SeekNRead(host.record()->pUserContext, data, &count, 0xFFFFFFFF), 0U);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(io->SeekNRead(io->pUserContext, data, &count, 0xFFFFFFFF), 0U);
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(data[0], 5);
    EXPECT_EQ(host.position, 5U);
    EXPECT_NE(io->IsEOF(io->pUserContext), 0U);
}

TEST(MemoryHostTest, AFaultHitsTheChosenCallOnceOrForEver) {
    MemoryHost host({1, 2, 3});
    auto* io = host.record();
    host.fault = MemoryHost::Fault{Slot::Seek, 2, false, 77};
    EXPECT_EQ(io->Seek(io->pUserContext, 1), 0U);
    EXPECT_EQ(io->Seek(io->pUserContext, 2), 77U);
    EXPECT_EQ(io->Seek(io->pUserContext, 3), 0U);
    host.fault = MemoryHost::Fault{std::nullopt, 4, true, 9};
    unsigned int offset = 0;
    EXPECT_EQ(io->GetOffset(io->pUserContext, &offset), 9U);
    EXPECT_EQ(io->AdvanceRead(io->pUserContext, 2), 9U);
    EXPECT_EQ(host.count(Slot::Seek), 3U);
}

TEST(MemoryHostTest, AnArrivingFileRefusesWhatIsNotThereYet) {
    MemoryHost host({1, 2, 3, 4});
    auto* io = host.record();
    host.arrived = 2;
    unsigned char data[4] = {};
    unsigned int got = 99;
    EXPECT_EQ(io->IndexRead(io->pUserContext, data, 1, 2, &got), host.not_yet_status);
    EXPECT_EQ(got, 0U);
    host.arrived = 4;
    EXPECT_EQ(io->IndexRead(io->pUserContext, data, 1, 2, &got), 0U);
    EXPECT_EQ(got, 2U);
    EXPECT_EQ(data[1], 3);
}

TEST(BoxBuilderTest, BoxesCarryTheirSizes) {
    EXPECT_EQ(full_box("abcd", ByteWriter().u16(0x1234), 1, 2), hex("0000000E 61626364 01000002 1234"));
    EXPECT_EQ(container("moov", {box("a   "), box("b   ")}).size(), 24U);
}

TEST(MovieBuilderTest, ChunkOffsetsPointAtTheSamples) {
    TrackPlan track;
    track.samples = {{1, 2}, {3}, {4, 5, 6}};
    track.samples_per_chunk = 2;
    track.sample_entry = samr_entry();
    const Bytes file = build_movie({.tracks = {track}, .moov_first = true});
    const Bytes tail = {1, 2, 3, 4, 5, 6};
    ASSERT_TRUE(std::equal(tail.rbegin(), tail.rend(), file.rbegin()));
    const Bytes stco = ByteWriter()
                           .text("stco")
                           .u32(0)
                           .u32(2)
                           .u32(static_cast<unsigned int>(file.size() - 6))
                           .u32(static_cast<unsigned int>(file.size() - 3));
    EXPECT_NE(std::search(file.begin(), file.end(), stco.begin(), stco.end()), file.end());
}

TEST(SamplesTest, AllAreThere) {
    for (const std::string& name : sample_names())
        EXPECT_GT(sample(name).size(), 1000U) << name;
}

}  // namespace
}  // namespace qlip_test
