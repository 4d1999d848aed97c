// A file that arrives while it is read, calls that fail, and memory that is not asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/second_reader/reader_support.h"
#include "tests/support/allocation_count.h"

namespace qlip_test {
namespace {

class Waits : public testing::TestWithParam<unsigned int> {};

// What ConvertStatus may make of "not there yet".
INSTANTIATE_TEST_SUITE_P(Statuses, Waits, testing::Values(5U, 13U));

// Every hint sample lies behind its media, so nothing is lost however slowly the file comes.
TEST_P(Waits, ForAHintSampleLoseNothing) {
    const Bytes file = build_movie(video_plan(4));
    OpenReader open(file, "rv");
    open.host->not_yet_status = GetParam();
    Delivery all;
    unsigned int waits = 0;
    for (unsigned int there = 0; all.status != 1; there += all.status == 17 ? 1 : 0) {
        open.host->arrived = there;
        all += read_chunk(*open.reader, 50, true);
        waits += all.status == 17;
    }
    EXPECT_EQ(all.bytes, whole_stream(file, "rv"));
    EXPECT_EQ(waits, chunk_offsets(file, kHint)[3] + 32);
}

TEST_P(Waits, ForAMediaSampleLoseItsFrame) {
    MoviePlan plan = video_plan(3);
    std::swap(plan.tracks[kMedia], plan.tracks[kHint]);  // the hint sample lies in front of its media
    const Bytes file = build_movie(plan);
    const auto frames = frames_of(whole_stream(file, "rv"));
    OpenReader open(file, "rv");
    open.host->not_yet_status = GetParam();
    open.host->arrived = chunk_offsets(file, 1)[1] + 41;
    EXPECT_EQ(read_chunk(*open.reader, kVideoHeaderBytes + 84 + 10, true).bytes.size(),
              kVideoHeaderBytes + 84U);
    open.host->arrived = std::nullopt;
    EXPECT_EQ(read_chunk(*open.reader, 84, true), (Delivery{0, frames[2]}));
    EXPECT_EQ(read_chunk(*open.reader, 84, true), (Delivery{1, {}}));
}

// A host that says 0 and delivers nothing is one that has nothing yet.
TEST(Waiting, SuccessWithoutBytesWaitsForTheHintSample) {
    OpenReader open(build_movie(video_plan(2)), "rv");
    open.host->most_per_read = 0;
    EXPECT_EQ(read_chunk(*open.reader, 1000, true).status, 17U);
    EXPECT_EQ(read_chunk(*open.reader, 1000, true), (Delivery{17, {}}));
    open.host->most_per_read = std::nullopt;
    EXPECT_EQ(read_all(*open.reader, 1000, true).bytes.size(), 168U);
}

struct FaultCase {
    bool indexed;
    std::optional<Slot> slot;
    unsigned int status;
    unsigned int expected;
};

// How many of the frames are not there in their order.
size_t missing(const Bytes& total, const std::vector<Bytes>& frames) {
    auto from = total.begin();
    return static_cast<size_t>(std::count_if(frames.begin(), frames.end(), [&](const Bytes& frame) {
        const auto at = std::search(from, total.end(), frame.begin(), frame.end());
        if (at != total.end()) from = at + static_cast<long>(frame.size());
        return at == total.end();
    }));
}

// Each call of the host fails in turn. Requests end with the frames, so that nothing copied is lost: a hint
// sample is asked for again, a half-built frame is delivered and then built anew, an advance changes nothing,
// and a wait for media costs the frame. A host that fails until it has been asked three times costs no more
// than a few of those.
TEST(Fault, AtEveryCallCostsAtMostTheFrameInWork) {
    const Bytes file = build_movie(video_plan(3));
    const auto frames = frames_of(whole_stream(file, "rv"));
    for (const auto& [indexed, slot, status, expected] : {FaultCase{false, std::nullopt, 7, 2},
                                                          {false, std::nullopt, 5, 2},  // no waiting here
                                                          {true, std::nullopt, 7, 16},
                                                          {true, Slot::IndexRead, 13, 17},
                                                          {true, Slot::AdvanceRead, 5, 16}}) {
        bool reached = true;
        for (unsigned long call = 1; reached; ++call) {
            for (const unsigned int times : {1U, 3U}) {
                SCOPED_TRACE(testing::Message()
                             << "call " << call << ", " << times << " times, to be " << expected);
                OpenReader open(file, "rv");
                Delivery total = read_chunk(*open.reader, kVideoHeaderBytes, indexed);
                open.host->clear_log();
                open.host->fault = {.slot = slot, .call = call, .for_ever = times > 1, .status = status};
                unsigned int failures = 0;
                for (int calls = 0; total.status != 1 && calls < 1000; ++calls) {
                    total += read_chunk(*open.reader, 4, indexed);
                    EXPECT_TRUE(total.status <= 1 || total.status == expected) << total.status;
                    failures += total.status > 1;
                    if (failures == times) open.host->fault = std::nullopt;
                }
                EXPECT_EQ(total.status, 1U);
                EXPECT_LE(missing(total.bytes, frames), expected == 17 ? 1U : 0U);
                reached = failures > 0 || open.host->calls >= call;
            }
        }
    }
}

TEST(Fault, OfAReadTakesTheBytesCopiedBeforeIt) {
    OpenReader open(build_movie(video_plan(2)), "rv");
    open.host->clear_log();
    open.host->fault = {.slot = Slot::SeekNRead, .call = 1};
    EXPECT_EQ(read_chunk(*open.reader, 1000), (Delivery{2, {}}));
    EXPECT_EQ(read_all(*open.reader, 1000, false).bytes.size(), 168U);
}

TEST(Fault, AtEveryCallOfAnOpenIsItsFailure) {
    const Bytes file = build_movie(video_plan(2));
    bool reached = true;
    for (unsigned long call = 1; reached; ++call) {
        for (const bool for_ever : {false, true}) {
            MemoryHost host(file);
            host.fault = {.slot = std::nullopt, .call = call, .for_ever = for_ever};
            C3gpInterface reader(65536);
            const unsigned int status = reader.Open(host.record(), "rv");
            reached = host.calls >= call;
            const Slot slot = reached ? host.log.at(call - 1).slot : Slot::IsEOF;
            const bool told = slot != Slot::IsEOF && slot != Slot::ConvertStatus;
            EXPECT_TRUE((!told && !(reached && for_ever)) || status == 4 || status == 2)
                << status << " at call " << call;
            EXPECT_TRUE(reached || status == 0);
            read_chunk(reader, 1000, true);
            EXPECT_EQ(reader.Close(), 0U);
            host.fault = std::nullopt;
            host.position = 0;
            EXPECT_EQ(reader.Open(host.record(), "rv"), 0U) << call;
        }
    }
}

TEST(Cost, NoHeapCallOnceOpenAndTheSameCallsForEveryFrame) {
    for (const bool indexed : {false, true}) {
        MoviePlan plan = video_plan(200);
        plan.tracks[kHint].samples_per_chunk = 7;
        plan.tracks[kHint].sync = {1, 50, 150};
        OpenReader open(build_movie(plan), "rv");
        open.host->keep_log = false;
        Bytes buffer(100000);
        const unsigned long calls_before = open.host->calls;
        const Counts before = counts();
        unsigned int size = static_cast<unsigned int>(buffer.size());
        EXPECT_EQ(open.reader->ReadChunk(buffer.data(), &size, indexed), 1U);
        EXPECT_EQ(seek(*open.reader, 4900, 0x20004).status, 0U);
        EXPECT_EQ(counts().heap_calls, before.heap_calls);
        // A frame: two samples and a step, which the last one has not; positioned reading seeks as well. A
        // seek: three.
        const unsigned long frame = indexed ? 3 : 5;
        EXPECT_EQ(open.host->calls - calls_before, 200 * frame - 1 + 3);
    }
}

// Every table has its memory at once, however long it is.
TEST(Cost, AnOpenTakesAsManyHeapCallsWhateverTheFilmsLength) {
    const auto calls_of_open = [](unsigned int frames) {
        MoviePlan plan = video_plan(frames);
        plan.tracks[kHint].samples_per_chunk = 7;
        MemoryHost host(build_movie(plan));
        host.keep_log = false;
        C3gpInterface reader(65536);
        const size_t before = counts().heap_calls;
        EXPECT_EQ(reader.Open(host.record(), "rv"), 0U);
        return counts().heap_calls - before;
    };
    EXPECT_EQ(calls_of_open(10), calls_of_open(2000));
    EXPECT_LE(calls_of_open(10), 160U);
}

}  // namespace
}  // namespace qlip_test
