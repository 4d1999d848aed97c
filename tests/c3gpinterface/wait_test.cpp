// A file that arrives while it is read, calls that fail, and memory that is not asked for.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "tests/c3gpinterface/count_allocations.h"
#include "tests/c3gpinterface/reader_support.h"

namespace qlip_test {
namespace {

// Frame by frame, the hint sample lies in front of its media.
MoviePlan hint_first(MoviePlan plan) {
    std::swap(plan.tracks[kMedia], plan.tracks[kHint]);
    return plan;
}

class Waits : public testing::TestWithParam<unsigned int> {};

// What ConvertStatus may make of "not there yet".
INSTANTIATE_TEST_SUITE_P(Statuses, Waits, testing::Values(5U, 13U));

TEST_P(Waits, ForAHintSampleLoseNothing) {
    const Bytes file = build_movie(video_plan(3));
    const Bytes whole = whole_stream(file, "rv");
    OpenReader open(file, "rv");
    open.host->not_yet_status = GetParam();
    open.host->arrived = chunk_offsets(file, kHint)[1] + 31;
    const Delivery first = read_chunk(*open.reader, kVideoHeaderBytes + 84 + 10, true);
    EXPECT_EQ(first, (Delivery{17, Bytes(whole.begin(), whole.begin() + kVideoHeaderBytes + 84)}));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(read_chunk(*open.reader, 10, true), (Delivery{17, {}}));
    EXPECT_EQ(read_chunk(*open.reader, 0, true), (Delivery{0, {}}));
    open.host->arrived = std::nullopt;
    EXPECT_EQ(read_all(*open.reader, 1000, true).bytes,
              Bytes(whole.begin() + kVideoHeaderBytes + 84, whole.end()));
}

TEST_P(Waits, ForAMediaSampleLoseItsFrame) {
    const Bytes file = build_movie(hint_first(video_plan(3)));
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

// Every hint sample lies behind its media, so nothing is lost however slowly the file comes.
TEST(Waiting, ByteByByteGivesTheWholeStream) {
    const Bytes file = build_movie(video_plan(4));
    OpenReader open(file, "rv");
    Delivery all;
    unsigned int waits = 0;
    for (unsigned int there = 0; all.status != 1; there += all.status == 17 ? 1 : 0) {
        open.host->arrived = there;
        const Delivery part = read_chunk(*open.reader, 50, true);
        all.bytes.insert(all.bytes.end(), part.bytes.begin(), part.bytes.end());
        all.status = part.status;
        waits += part.status == 17;
    }
    EXPECT_EQ(all.bytes, whole_stream(file, "rv"));
    EXPECT_EQ(waits, chunk_offsets(file, kHint)[3] + 32);
}

// A host that says 0 and delivers nothing is one that has nothing yet.
TEST(Waiting, SuccessWithoutBytesWaitsForTheHintSample) {
    const Bytes file = build_movie(video_plan(2));
    OpenReader open(file, "rv");
    open.host->most_per_read = 0;
    EXPECT_EQ(read_chunk(*open.reader, 1000, true).status, 17U);
    EXPECT_EQ(read_chunk(*open.reader, 1000, true), (Delivery{17, {}}));
    open.host->most_per_read = std::nullopt;
    EXPECT_EQ(read_all(*open.reader, 1000, true).bytes.size(), 168U);
}

// In positioned reading nothing is waited for.
TEST(Waiting, PositionedReadingFailsInstead) {
    for (const unsigned int status : {5U, 13U, 7U}) {
        OpenReader open(build_movie(video_plan(2)), "rv");
        open.host->clear_log();
        open.host->fault = {.slot = Slot::SeekNRead, .call = 1, .status = status};
        EXPECT_EQ(read_chunk(*open.reader, 1000), (Delivery{2, {}}));  // the header is lost with it
        EXPECT_EQ(read_all(*open.reader, 1000, false).bytes.size(), 168U);
    }
}

struct FaultCase {
    const char* name;
    bool indexed;
    std::optional<Slot> slot;
    unsigned int status;
};

class Faults : public testing::TestWithParam<FaultCase> {};

INSTANTIATE_TEST_SUITE_P(Table, Faults,
                         testing::Values(FaultCase{"positioned", false, std::nullopt, 7},
                                         FaultCase{"positioned_wait", false, std::nullopt, 5},
                                         FaultCase{"indexed", true, std::nullopt, 7},
                                         FaultCase{"index_read_wait", true, Slot::IndexRead, 13}),
                         [](const auto& test) { return test.param.name; });

// Whether `total` is `whole` with one piece put in or one frame left out, at a frame's edge.
bool differs_by_one_piece(const Bytes& whole, const Bytes& total) {
    size_t edge = kVideoHeaderBytes;
    for (const Bytes& frame : frames_of(whole)) {
        const auto more = static_cast<long>(total.size()) - static_cast<long>(whole.size());
        const bool front = total.size() >= edge &&
                           std::equal(whole.begin(), whole.begin() + static_cast<long>(edge), total.begin());
        const size_t in_whole = edge + (more < 0 ? frame.size() : 0);
        const size_t in_total = edge + (more > 0 ? static_cast<size_t>(more) : 0);
        if (front && in_total <= total.size() &&
            std::equal(whole.begin() + static_cast<long>(in_whole), whole.end(),
                       total.begin() + static_cast<long>(in_total), total.end()))
            return true;
        edge += frame.size();
    }
    return whole == total;
}

// Each call of the host fails in turn, once. Requests end with the frames, so that nothing copied is lost: a
// hint sample is asked for again, a half-built frame is delivered and then built anew, an advance changes
// nothing, and a wait for media costs the frame.
TEST_P(Faults, AtEveryCallCostAtMostTheFrameInWork) {
    const auto& [name, indexed, slot, status] = GetParam();
    const Bytes file = build_movie(video_plan(3));
    const Bytes whole = whole_stream(file, "rv");
    for (unsigned long call = 1;; ++call) {
        OpenReader open(file, "rv");
        Bytes total = read_chunk(*open.reader, kVideoHeaderBytes, indexed).bytes;
        open.host->clear_log();
        open.host->fault = {.slot = slot, .call = call, .status = status};
        unsigned int failures = 0;
        for (Delivery part; part.status != 1;) {
            part = read_chunk(*open.reader, 4, indexed);
            total.insert(total.end(), part.bytes.begin(), part.bytes.end());
            failures += part.status > 1;
            const unsigned int expected = indexed ? (slot ? 17U : 16U) : 2U;
            EXPECT_TRUE(part.status <= 1 || part.status == expected) << part.status << " at call " << call;
        }
        if (open.host->calls < call && failures == 0) break;
        EXPECT_LE(failures, 1U);
        EXPECT_TRUE(differs_by_one_piece(whole, total)) << name << " call " << call;
    }
}

TEST(Fault, AtEveryCallOfAnOpenIsItsFailure) {
    const Bytes file = build_movie(video_plan(2));
    for (unsigned long call = 1;; ++call) {
        MemoryHost host(file);
        host.fault = {.slot = std::nullopt, .call = call};
        C3gpInterface reader(65536);
        const unsigned int status = reader.Open(host.record(), "rv");
        if (host.calls < call) {
            EXPECT_EQ(status, 0U);
            break;
        }
        const MemoryHost::Call& failed = host.log.at(call - 1);
        const bool told = failed.slot != Slot::IsEOF && failed.slot != Slot::ConvertStatus;
        EXPECT_TRUE(!told || status == 4 || status == 2) << status << " at call " << call;
        read_chunk(reader, 1000, true);
        EXPECT_EQ(reader.Close(), 0U);
        host.fault = std::nullopt;
        host.position = 0;
        EXPECT_EQ(reader.Open(host.record(), "rv"), 0U) << call;
    }
}

TEST(Fault, OfAdvanceReadLeavesTheFinishedFrameForTheNextCall) {
    const Bytes file = build_movie(video_plan(3));
    const auto frames = frames_of(whole_stream(file, "rv"));
    for (const unsigned int status : {5U, 7U}) {  // no waiting here
        OpenReader open(file, "rv");
        read_chunk(*open.reader, kVideoHeaderBytes, true);
        open.host->fault = {.slot = Slot::AdvanceRead, .call = 1, .status = status};
        EXPECT_EQ(read_chunk(*open.reader, 84, true), (Delivery{16, {}}));
        for (const Bytes& frame : frames)
            EXPECT_EQ(read_chunk(*open.reader, 84, true), (Delivery{0, frame}));
        EXPECT_EQ(read_chunk(*open.reader, 84, true), (Delivery{1, {}}));
    }
}

TEST(Memory, IsNotAskedForOnceOpenAndCallsAFrameStayTheSame) {
    for (const bool indexed : {false, true}) {
        MoviePlan plan = video_plan(200);
        plan.tracks[kHint].samples_per_chunk = 7;
        plan.tracks[kHint].sync = {1, 50, 150};
        OpenReader open(build_movie(plan), "rv");
        open.host->keep_log = false;
        Bytes buffer(100000);
        const unsigned long calls_before = open.host->calls;
        const unsigned long before = allocations;
        unsigned int size = static_cast<unsigned int>(buffer.size());
        EXPECT_EQ(open.reader->ReadChunk(buffer.data(), &size, indexed), 1U);
        _TAG_QLIP_SEEK_PARAMS seek{0, 4900, 0, 0, 0x20004};
        EXPECT_EQ(open.reader->SeekTo(&seek), 0U);
        EXPECT_EQ(allocations, before);
        // A frame: two samples and a step, which the last one has not; positioned reading seeks as well. A
        // seek: three.
        const unsigned long frame = indexed ? 3 : 5;
        EXPECT_EQ(open.host->calls - calls_before, 200 * frame - 1 + 3);
    }
}

}  // namespace
}  // namespace qlip_test
