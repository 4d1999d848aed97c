// Walking hint samples and fetching media: what is asked of the host, the low-water mark, and content that
// leads nowhere.
#include <gtest/gtest.h>

#include "qlip/vorn3gp.h"
#include "tests/second_reader/reader_support.h"
#include "tests/support/little_endian.h"

namespace qlip_test {
namespace {

using Offsets = std::vector<unsigned int>;

// Indexed reading tells the host the low-water mark; positioned reading seeks to it.
TEST(Walk, LowWaterMarkIsBehindTheLastMediaOrHintSampleWhicheverIsLower) {
    MoviePlan plan = video_plan(3);
    OpenReader open(build_movie(plan), "rv");
    const auto media = chunk_offsets(open.host->bytes, kMedia), hint = chunk_offsets(open.host->bytes, kHint);
    open.host->clear_log();
    read_all(*open.reader, 1000, true);
    EXPECT_EQ(offsets_of(*open.host, Slot::AdvanceRead), (Offsets{media[0] + 41, media[1] + 42}));
    EXPECT_EQ(open.host->count(Slot::SeekNRead) + open.host->count(Slot::Seek), 0U);

    OpenReader positioned(build_movie(plan), "rv");
    positioned.host->clear_log();
    read_all(*positioned.reader, 1000, false);
    EXPECT_EQ(
        offsets_of(*positioned.host, Slot::Seek),
        (Offsets{hint[0], media[0], media[0] + 41, hint[1], media[1], media[1] + 42, hint[2], media[2]}));
    EXPECT_EQ(positioned.host->count(Slot::AdvanceRead) + positioned.host->count(Slot::IndexRead), 0U);

    plan.tracks[kMedia].samples_per_chunk = 3;  // all media in front
    OpenReader behind(build_movie(plan), "rv");
    const unsigned int first = chunk_offsets(behind.host->bytes, kMedia)[0];
    read_all(*behind.reader, 1000, true);
    EXPECT_EQ(offsets_of(*behind.host, Slot::AdvanceRead), (Offsets{first + 41, first + 41 + 42}));

    for (auto& sample : plan.tracks[kHint].samples)
        sample = hint_sample({{.constructors = {hint_immediate({1})}}});
    OpenReader without_media(build_movie(plan), "rv");
    EXPECT_EQ(frames_of(read_all(*without_media.reader, 1000, true).bytes).size(), 3U);
    EXPECT_EQ(offsets_of(*without_media.host, Slot::AdvanceRead), (Offsets{0, 0}));
}

// However the samples lie in chunks, whether their size stands once or for each, in both read modes and in
// requests of any size, the stream is the same.
TEST(Walk, ChunkingSizeTablesAndRequestsDoNotShowInTheStream) {
    const Bytes expected = whole_stream(build_movie(video_plan(12)), "rv");
    for (const Offsets& chunks : {Offsets{12}, {1, 2, 3, 1}, {4, 4, 2}, {2, 2, 2, 1, 5}}) {
        for (const bool constant : {false, true}) {
            MoviePlan plan = video_plan(12);
            plan.tracks[kHint].chunks = chunks;
            plan.tracks[kHint].constant_size = constant;
            plan.tracks[kMedia].chunks = {5, 1, 1};
            EXPECT_EQ(whole_stream(build_movie(plan), "rv", constant), expected);
        }
    }
    for (const unsigned int size : {1U, 7U, 333U, 1400U}) {
        for (const int indexed : {0b00, 0b11, 0b10}) {  // never, always, every other call
            OpenReader open(build_movie(video_plan(12)), "rv");
            Delivery all;
            for (int call = 0; all.status == 0; ++call)
                all += read_chunk(*open.reader, size, indexed >> call % 2 & 1);
            EXPECT_EQ(all, (Delivery{1, expected})) << "requests of " << size;
        }
    }
}

// The last run of media chunks holds two samples, and promises more.
TEST(Walk, RunsThatPromiseMoreMediaSamplesThanThereAreEndAtTheCount) {
    MoviePlan plan = video_plan(5);
    plan.tracks[kMedia].chunks = {3, 2};
    const Bytes sound = build_movie(plan);
    for (const unsigned int promised : {3U, 0xFFFFFFFFU}) {
        Bytes file = sound;
        set_u32(file, find_box(file, "stsc") + 12 + 12 + 4, promised);
        EXPECT_EQ(whole_stream(file, "rv"), whole_stream(sound, "rv"));
    }
}

TEST(Walk, FrameTimesAreTheSumsOfTheTimeTable) {
    MoviePlan plan = video_plan(6);
    plan.tracks[kHint].stts = {{2, 9000}, {3, 100}, {1, 7}};
    Offsets times;
    for (const Bytes& frame : frames_of(whole_stream(build_movie(plan), "rv")))
        times.push_back(word_at(frame, 32));
    EXPECT_EQ(times, (Offsets{0, 9000, 18000, 18100, 18200, 18300}));
}

// One sample for two packets with two constructors each. An indexed read that came back short counts for what
// it brought, and is tried again; a positioned one counts whole.
TEST(Walk, PacketsOfOneMediaSampleCostOneReadUnlessItComesShort) {
    MoviePlan plan = video_plan(2);
    const auto part = [](unsigned int offset) { return hint_sample_data(10, 1, offset); };
    plan.tracks[kMedia].samples[0] = Bytes(500, 1);
    plan.tracks[kHint].samples[0] = hint_sample(
        {{.sequence = 1, .constructors = {part(0), part(10)}},
         {.sequence = 2, .marker = true, .constructors = {part(20), hint_sample_data(11, 1, 30)}}});
    const Bytes file = build_movie(plan);
    const Bytes first = join({words({104, 2, 3, 4, 0, 40, 0, 0x80600001, 0, 0}), Bytes(20, 1),
                              words({41, 0, 0x80E00002, 0, 0}), Bytes(21, 1), Bytes(3)});
    for (const unsigned int most : {500U, 499U}) {
        for (const bool indexed : {false, true}) {
            OpenReader open(file, "rv");
            open.host->most_per_read = most;
            EXPECT_EQ(frames_of(read_all(*open.reader, 1000, indexed).bytes).at(0), first);
            EXPECT_EQ(read_offsets(*open.host, 500).size(), indexed && most < 500 ? 4U : 1U);
        }
    }
}

TEST(Walk, BadContentCostsAVideoFrameAndLeavesTheOthersAndTheirTimesAlone) {
    MoviePlan plan = video_plan(3);
    const auto whole = frames_of(whole_stream(build_movie(plan), "rv"));
    for (const Bytes& bad :
         {whole_sample_hint(4, 1, 2), whole_sample_hint(0, 1, 2), whole_sample_hint(0xFFFFFFFF, 1, 2),
          whole_sample_hint(2, 44, 2), hex("FFFF0000 00000000 0000 0000 0000 0000")}) {
        plan.tracks[kHint].samples[1] = bad;
        for (const bool indexed : {false, true})
            EXPECT_EQ(frames_of(whole_stream(build_movie(plan), "rv", indexed)),
                      (std::vector<Bytes>{whole[0], whole[2]}));
    }
}

// The buffer is as large as the largest sample, here the first. What lies behind a smaller one is left from
// it.
TEST(Walk, ConstructorThatReachesBeyondItsSampleTakesWhatTheBufferHolds) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kMedia].samples[0] = Bytes(50, 1);
    plan.tracks[kHint].samples = {whole_sample_hint(1, 50, 1), whole_sample_hint(2, 44, 2)};
    const auto frames = frames_of(whole_stream(build_movie(plan), "rv"));
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(slice(frames[1], 40, 44), join({Bytes(42, 2), Bytes(2, 1)}));
}

// The bytes built before the fault stay in the buffer, and a call after the end delivers them.
TEST(Walk, WhatIsLeftOfALastFrameThatWasDroppedComesAfterTheEnd) {
    MoviePlan plan = video_plan(2);
    plan.tracks[kHint].samples[1] = hint_sample(
        {{.sequence = 2, .constructors = {hint_immediate({1, 2, 3}), hint_sample_data(42, 9, 0)}}});
    OpenReader open(build_movie(plan), "rv");
    EXPECT_EQ(read_all(*open.reader, 1000, false).bytes.size(), kVideoHeaderBytes + 84U);
    EXPECT_EQ(read_chunk(*open.reader, 0), (Delivery{0, {}}));
    const Delivery rest = read_chunk(*open.reader, 1000);
    EXPECT_EQ(rest.status, 1U);
    EXPECT_EQ(rest.bytes.size(), 43U);
    EXPECT_EQ(read_chunk(*open.reader, 1000), (Delivery{1, {}}));
}

// A hint sample without bytes is refused. A media sample without bytes counts as not there: its frame is
// gone, and nothing waits.
TEST(Walk, EmptyHintSampleEndsEveryCallWithAStatusAndEmptyMediaSampleCostsItsFrame) {
    MoviePlan plan = video_plan(3);
    const auto whole = frames_of(whole_stream(build_movie(plan), "rv"));
    plan.tracks[kMedia].samples[1].clear();
    EXPECT_EQ(frames_of(whole_stream(build_movie(plan), "rv", true)),
              (std::vector<Bytes>{whole[0], whole[2]}));
    plan.tracks[kHint].samples[1].clear();
    for (const bool indexed : {false, true}) {
        OpenReader open(build_movie(plan), "rv");
        EXPECT_EQ(read_chunk(*open.reader, kVideoHeaderBytes + 84, indexed).status, 0U);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(read_chunk(*open.reader, 100, indexed), (Delivery{4, {}}));
        EXPECT_EQ(read_chunk(*open.reader, 0, indexed), (Delivery{0, {}}));
    }
}

unsigned int calls_to_the_end(C3gpInterface& reader, bool indexed) {
    unsigned int calls = 1;
    while (read_chunk(reader, 1000, indexed).status != 1 && calls < 1000)
        ++calls;
    return calls;
}

TEST(Walk, EndsWhereNothingMoreCanCome) {
    MoviePlan empty = video_plan(3), table = video_plan(3), one_bad = video_plan(1000);
    empty.tracks[kHint].samples[1].clear();
    for (Bytes& sample : one_bad.tracks[kHint].samples)
        sample = Bytes(4096, 0xFF);
    one_bad.tracks[kHint].constant_size = true;
    Bytes no_times = build_movie(table);
    set_u32(no_times, find_box(no_times, "stts", 1) + 12, 2);  // for two of the three samples
    for (const Bytes& file : {build_movie(empty), no_times}) {
        for (const bool indexed : {false, true}) {
            OpenReader open(file, "rv");
            EXPECT_EQ(calls_to_the_end(*open.reader, indexed), 65U);
            EXPECT_EQ(read_chunk(*open.reader, 1000, indexed), (Delivery{1, {}}));
        }
    }
    // All chunks lead to the same bytes, which are no hint sample.
    Bytes file = build_movie(one_bad);
    const size_t rows = find_box(file, "stco", 1) + 12;
    for (size_t row = 0; row < 1000; ++row)
        set_u32(file, rows + 4 * row, 64);
    OpenReader open(file, "rv");
    open.host->clear_log();
    EXPECT_EQ(calls_to_the_end(*open.reader, true), 1U);
    EXPECT_LE(open.host->count(Slot::IndexRead), 1U + 4 + 1024 * 1024 / 4096 + 1);
    // All but the first lie behind the end of the file, where a read by position leaves the buffer as it was.
    MoviePlan one = video_plan(1);
    one.moov_first = one.tracks[kHint].constant_size = true;
    one.tracks[kHint].samples[0] = {0xFF};
    Bytes claim = build_movie(one);
    set_u32(claim, find_box(claim, "stsz", 1) + 12, 65536);
    set_u32(claim, find_box(claim, "stsc", 1) + 16, 65536);
    set_u32(claim, find_box(claim, "stts", 1) + 12, 65536);
    OpenReader behind(claim, "rv");
    behind.host->clear_log();
    EXPECT_EQ(calls_to_the_end(*behind.reader, false), 1U);
    EXPECT_LE(behind.host->count(Slot::SeekNRead), 1U + 4 + 1024 * 1024 / 129 + 1);
}

struct Probe : C3gpInterface {
    using C3gpInterface::GetPropBuffer;
    using C3gpInterface::m_ChunkOffsets;
    using C3gpInterface::m_SampleSizes;
    using C3gpInterface::m_TimeToSample;
    using C3gpInterface::MarkPropBytesRead;
};

TEST(Walk, ReaderShowsWhatItsProducerHolds) {
    MemoryHost host(build_movie(video_plan(1)));
    Probe reader;
    unsigned int waiting = 7;
    EXPECT_EQ(reader.GetPropBuffer(&waiting), nullptr);
    EXPECT_EQ(waiting, 0U);
    ASSERT_EQ(reader.Open(host.record(), "rv"), 0U);
    reader.MarkPropBytesRead(90);
    EXPECT_EQ(*reader.GetPropBuffer(&waiting), whole_stream(host.bytes, "rv").at(90));
    EXPECT_EQ(waiting, 2U);
}

// Tables for two samples of three.
TEST(Walk, TableThatIsTooShortEndsTheStreamWith2BehindTheLastFrameItCovers) {
    for (void (*cut)(Probe & reader) :
         {+[](Probe& r) { r.m_TimeToSample[0].sample_count = 2; },
          +[](Probe& r) { r.m_SampleSizes.pop_back(); }, +[](Probe& r) { r.m_ChunkOffsets.pop_back(); }}) {
        MemoryHost host(build_movie(video_plan(3)));
        const auto frames = frames_of(whole_stream(host.bytes, "rv"));
        Probe reader;
        ASSERT_EQ(reader.Open(host.record(), "rv"), 0U);
        cut(reader);
        EXPECT_EQ(read_chunk(reader, kVideoHeaderBytes + 84).status, 0U);
        EXPECT_EQ(read_chunk(reader, 84), (Delivery{2, {}}));
        // The frame was finished before the step behind it failed.
        EXPECT_EQ(read_chunk(reader, 84), (Delivery{0, frames[1]}));
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(read_chunk(reader, 84), (Delivery{2, {}}));
        // A seek brings the cursors back into the tables.
        EXPECT_EQ(seek(reader, 0, 0x20001).status, 0U);
        EXPECT_EQ(read_chunk(reader, 84), (Delivery{0, frames[0]}));
    }
}

}  // namespace
}  // namespace qlip_test
