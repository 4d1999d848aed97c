// Walking hint samples and fetching media: what is asked of the host, the low-water mark, and content that
// leads nowhere.
#include <gtest/gtest.h>

#include "qlip/vorn3gp.h"
#include "tests/c3gpinterface/reader_support.h"

namespace qlip_test {
namespace {

std::vector<unsigned int> advances(const MemoryHost& host) {
    std::vector<unsigned int> out;
    for (const auto& call : host.log)
        if (call.slot == Slot::AdvanceRead) out.push_back(call.offset);
    return out;
}

TEST(Walk, LowWaterMarkIsBehindTheLastMediaOrHintSampleWhicheverIsLower) {
    OpenReader open(build_movie(video_plan(3)), "rv");
    const auto media = chunk_offsets(open.host->bytes, kMedia);
    read_all(*open.reader, 1000, true);
    EXPECT_EQ(advances(*open.host), (std::vector<unsigned int>{media[0] + 41, media[1] + 42}));

    MoviePlan plan = video_plan(3);
    plan.tracks[kMedia].samples_per_chunk = 3;  // all media in front
    OpenReader behind(build_movie(plan), "rv");
    const unsigned int first = chunk_offsets(behind.host->bytes, kMedia)[0];
    read_all(*behind.reader, 1000, true);
    EXPECT_EQ(advances(*behind.host), (std::vector<unsigned int>{first + 41, first + 41 + 42}));
}

TEST(Walk, LowWaterMarkStaysAt0WithoutMedia) {
    MoviePlan plan = video_plan(3);
    for (auto& hint : plan.tracks[kHint].samples)
        hint = hint_sample({{.constructors = {hint_immediate({1})}}});
    OpenReader open(build_movie(plan), "rv");
    open.host->clear_log();
    EXPECT_EQ(frames_of(read_all(*open.reader, 1000, true).bytes).size(), 3U);
    EXPECT_EQ(advances(*open.host), (std::vector<unsigned int>{0, 0}));
    EXPECT_EQ(open.host->count(Slot::SeekNRead), 0U);
}

TEST(Walk, PositionedReadingSeeksToTheLowWaterMarkInstead) {
    OpenReader open(build_movie(video_plan(2)), "rv");
    const auto media = chunk_offsets(open.host->bytes, kMedia);
    const auto hint = chunk_offsets(open.host->bytes, kHint);
    open.host->clear_log();
    read_all(*open.reader, 1000, false);
    std::vector<unsigned int> seeks;
    for (const auto& call : open.host->log)
        if (call.slot == Slot::Seek) seeks.push_back(call.offset);
    EXPECT_EQ(seeks, (std::vector<unsigned int>{hint[0], media[0], media[0] + 41, hint[1], media[1]}));
    EXPECT_EQ(open.host->count(Slot::AdvanceRead) + open.host->count(Slot::IndexRead), 0U);
}

// However the samples lie in chunks, and whether their size stands once or for each, the stream is the same.
TEST(Walk, ChunkingAndSizeTablesDoNotShowInTheStream) {
    const Bytes expected = whole_stream(build_movie(video_plan(12)), "rv");
    for (const std::vector<unsigned int>& chunks :
         {std::vector<unsigned int>{12}, {1, 2, 3, 1}, {4, 4, 2}, {2, 2, 2, 1, 5}}) {
        for (const bool constant : {false, true}) {
            MoviePlan plan = video_plan(12);
            plan.tracks[kHint].chunks = chunks;
            plan.tracks[kHint].constant_size = constant;
            plan.tracks[kMedia].chunks = {5, 1, 1};
            EXPECT_EQ(whole_stream(build_movie(plan), "rv", constant), expected);
        }
    }
}

TEST(Walk, FrameTimesAreTheSumsOfTheTimeTable) {
    MoviePlan plan = video_plan(6);
    plan.tracks[kHint].stts = {{2, 9000}, {3, 100}, {1, 7}};
    const unsigned int times[] = {0, 9000, 18000, 18100, 18200, 18300};
    const auto frames = frames_of(whole_stream(build_movie(plan), "rv"));
    ASSERT_EQ(frames.size(), 6U);
    for (size_t i = 0; i < 6; ++i)
        EXPECT_EQ(word_at(frames[i], 32), times[i]);
}

// Two packets and two constructors each from one media sample.
MoviePlan with_shared_sample() {
    MoviePlan plan = video_plan(2);
    const auto part = [](unsigned int offset) { return hint_sample_data(10, 1, offset); };
    plan.tracks[kHint].samples[0] = hint_sample(
        {{.sequence = 1, .constructors = {part(0), part(10)}},
         {.sequence = 2, .marker = true, .constructors = {part(20), hint_sample_data(11, 1, 30)}}});
    return plan;
}

TEST(Walk, PacketsOfOneMediaSampleCostOneRead) {
    for (const bool indexed : {false, true}) {
        OpenReader open(build_movie(with_shared_sample()), "rv");
        open.host->clear_log();
        const auto frames = frames_of(read_all(*open.reader, 1000, indexed).bytes);
        EXPECT_EQ(read_offsets(*open.host, 41).size(), 1U);
        ASSERT_EQ(frames.size(), 2U);
        EXPECT_EQ(word_at(frames[0], 4), 2U);
        EXPECT_EQ(Bytes(frames[0].begin() + 40, frames[0].begin() + 60), Bytes(20, 1));
        EXPECT_EQ(Bytes(frames[0].begin() + 80, frames[0].begin() + 101), Bytes(21, 1));
    }
}

// An indexed read that came back short counts for what it brought, and is tried again; a positioned one
// counts whole.
TEST(Walk, ShortReadIsKeptInPositionedModeOnly) {
    MoviePlan plan = with_shared_sample();
    plan.tracks[kMedia].samples[0] = Bytes(500, 1);
    const Bytes file = build_movie(plan);
    for (const bool indexed : {false, true}) {
        OpenReader open(file, "rv");
        open.host->most_per_read = 499;
        const auto frames = frames_of(read_all(*open.reader, 1000, indexed).bytes);
        EXPECT_EQ(frames, frames_of(whole_stream(file, "rv")));
        EXPECT_EQ(read_offsets(*open.host, 500).size(), indexed ? 4U : 1U);
    }
}

TEST(Walk, BadContentCostsAVideoFrameAndLeavesTheOthersAndTheirTimesAlone) {
    MoviePlan plan = video_plan(3);
    const auto whole = frames_of(whole_stream(build_movie(plan), "rv"));
    for (const Bytes& bad :
         {whole_sample_hint(4, 1, 2), whole_sample_hint(0, 1, 2), whole_sample_hint(0xFFFFFFFF, 1, 2),
          whole_sample_hint(2, 43, 2), hex("FFFF0000 00000000 0000 0000 0000 0000")}) {
        plan.tracks[kHint].samples[1] = bad;
        for (const bool indexed : {false, true})
            EXPECT_EQ(frames_of(whole_stream(build_movie(plan), "rv", indexed)),
                      (std::vector<Bytes>{whole[0], whole[2]}));
    }
}

TEST(Walk, FrameThatDoesNotFitTheBufferIsDropped) {
    MoviePlan plan = video_plan(3);
    plan.tracks[kMedia].samples[1] = Bytes(100, 2);
    plan.tracks[kHint].samples[1] = whole_sample_hint(2, 100, 2);
    for (const unsigned int room : {139U, 140U}) {
        OpenReader open(build_movie(plan), "rv", 0, room);
        EXPECT_EQ(frames_of(read_all(*open.reader, 1000, false).bytes).size(), room - 137);
    }
}

TEST(Walk, BadConstructorCostsAnAudioFrameThatConstructorsBytes) {
    for (const unsigned int number : {0U, 4U, 0xFFFFFFFFU, 2U}) {  // sample 2 has 13 bytes, not 14
        MoviePlan plan = audio_plan(3);
        const auto whole = frames_of(whole_stream(build_movie(plan), "ra"));
        const Bytes bad = hint_sample_data(14, number, 0);
        plan.tracks[kHint].samples[1] = hint_sample(
            {{.sequence = 9, .constructors = {hint_immediate({0xF0}), bad, hint_immediate({0x3C})}}});
        const Bytes rest = hex("1A000000 0A000000 A0000000 A0000000 0900 0000 00000000 F03C");
        EXPECT_EQ(frames_of(whole_stream(build_movie(plan), "ra", true)),
                  (std::vector<Bytes>{whole[0], rest, whole[2]}));
    }
}

// The bytes built before the fault stay in the buffer, and a call after the end delivers them.
TEST(Walk, WhatIsLeftOfALastFrameThatWasDroppedComesAfterTheEnd) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kHint].samples[1] = hint_sample(
        {{.sequence = 2, .constructors = {hint_immediate({1, 2, 3}), hint_sample_data(42, 9, 0)}}});
    OpenReader open(build_movie(plan), "rv");
    const Delivery all = read_all(*open.reader, 1000, false);
    EXPECT_EQ(all.bytes.size(), kVideoHeaderBytes + 84U);
    EXPECT_EQ(read_chunk(*open.reader, 0), (Delivery{0, {}}));
    const Delivery rest = read_chunk(*open.reader, 1000);
    EXPECT_EQ(rest.status, 1U);
    EXPECT_EQ(rest.bytes.size(), 43U);
    EXPECT_EQ(read_chunk(*open.reader, 1000), (Delivery{1, {}}));
}

TEST(Walk, EmptyHintSampleEndsEveryCallWithAStatus) {
    MoviePlan plan = video_plan(3);
    plan.tracks[kHint].samples[1].clear();
    for (const bool indexed : {false, true}) {
        OpenReader open(build_movie(plan), "rv");
        EXPECT_EQ(read_chunk(*open.reader, kVideoHeaderBytes + 84, indexed).status, 0U);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(read_chunk(*open.reader, 100, indexed), (Delivery{4, {}}));
        EXPECT_EQ(read_chunk(*open.reader, 0, indexed), (Delivery{0, {}}));
    }
}

// A media sample without bytes counts as not there: the frame is gone, and nothing waits.
TEST(Walk, EmptyMediaSampleCostsItsFrame) {
    MoviePlan plan = video_plan(3);
    const auto whole = frames_of(whole_stream(build_movie(plan), "rv"));
    plan.tracks[kMedia].samples[1].clear();
    const auto frames = frames_of(whole_stream(build_movie(plan), "rv", true));
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[1], whole[2]);
}

struct Probe : C3gpInterface {
    Probe() : C3gpInterface(65536) {}
    using C3gpInterface::m_ChunkOffsets;
    using C3gpInterface::m_SampleSizes;
    using C3gpInterface::m_TimeToSample;
};

struct ShortTable {
    const char* name;
    void (*cut)(Probe& reader);
};

class ShortTables : public testing::TestWithParam<ShortTable> {};

// Tables for two samples of three.
INSTANTIATE_TEST_SUITE_P(Table, ShortTables,
                         testing::Values(ShortTable{"time",
                                                    [](Probe& r) { r.m_TimeToSample[0].sample_count = 2; }},
                                         ShortTable{"size", [](Probe& r) { r.m_SampleSizes.pop_back(); }},
                                         ShortTable{"chunk", [](Probe& r) { r.m_ChunkOffsets.pop_back(); }}),
                         [](const auto& test) { return test.param.name; });

TEST_P(ShortTables, EndTheStreamWith2BehindTheLastFrameTheyCover) {
    MemoryHost host(build_movie(video_plan(3)));
    const auto frames = frames_of(whole_stream(host.bytes, "rv"));
    Probe reader;
    ASSERT_EQ(reader.Open(host.record(), "rv"), 0U);
    GetParam().cut(reader);
    EXPECT_EQ(read_chunk(reader, kVideoHeaderBytes + 84).status, 0U);
    EXPECT_EQ(read_chunk(reader, 84), (Delivery{2, {}}));
    // The frame was finished before the step behind it failed.
    EXPECT_EQ(read_chunk(reader, 84), (Delivery{0, frames[1]}));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(read_chunk(reader, 84), (Delivery{2, {}}));
    // A seek brings the cursors back into the tables.
    _TAG_QLIP_SEEK_PARAMS back{0, 0, 0, 0, 0x20001};
    EXPECT_EQ(reader.SeekTo(&back), 0U);
    EXPECT_EQ(read_chunk(reader, 84), (Delivery{0, frames[0]}));
}

}  // namespace
}  // namespace qlip_test
