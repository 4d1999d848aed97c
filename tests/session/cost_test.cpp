// What a chunk costs, in numbers that do not depend on a clock: heap calls, callbacks, bytes copied.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/mman.h>

#include <algorithm>
#include <memory>

#include "iso/model/arena.h"
#include "qlip/SimpleException.h"
#include "session/session.h"
#include "tests/session/player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/allocation_count.h"
#include "tests/support/movie_builder.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

struct Cost {
    size_t heap_calls = 0;
    size_t copied = 0;  // the host's own deliveries included
    size_t callbacks = 0;
};

// Streams everything through a host that neither logs nor allocates.
Cost stream(const Bytes& file, const char* mode, bool indexed) {
    MemoryHost host(file);
    mm_Interface* handle = nullptr;
    EXPECT_EQ(qlip_Open(&handle, host.record(), mode), 0);
    host.clear_log();
    host.keep_log = false;
    const auto buffer = std::make_unique<unsigned char[]>(QLIP_LARGEST_CHUNK);
    unsigned int size = 0;
    Cost cost;
    const Counts before = counts();
    while (qlip_ReadChunk(handle, buffer.get(), &size, indexed) == QLIP_SUCCESS) {
    }
    cost.heap_calls = counts().heap_calls - before.heap_calls;
    cost.copied = counts().copied - before.copied;
    cost.callbacks = host.calls;
    qlip_Close(&handle);
    return cost;
}

Bytes speech_movie(unsigned int samples, unsigned int frames_per_sample) {
    Bytes speech(32, 0x55);
    speech[0] = 0x3C;
    Bytes together;
    for (unsigned int i = 0; i < frames_per_sample; ++i)
        together = join({together, speech});
    return build_movie({.tracks = {speech_track(std::vector<Bytes>(samples, together), frames_per_sample)}});
}

constexpr uintptr_t kPage = 4096;

// Pages that a block of the heap has touched; it is large enough for a mapping of its own.
size_t touched_pages(void* block) {
    const uintptr_t begin = reinterpret_cast<uintptr_t>(block) / kPage * kPage;
    const uintptr_t end = reinterpret_cast<uintptr_t>(block) + malloc_usable_size(block);
    std::vector<unsigned char> resident((end - begin + kPage - 1) / kPage);
    EXPECT_EQ(mincore(reinterpret_cast<void*>(begin), end - begin, resident.data()), 0);
    return static_cast<size_t>(
        std::count_if(resident.begin(), resident.end(), [](unsigned char page) { return (page & 1) != 0; }));
}

struct Footprint {
    size_t record = 0;  // pages
    size_t arena = 0;
    size_t heap_calls = 0;  // of the open
};

// After the first frames.
Footprint footprint(const Bytes& file, const char* mode) {
    mallopt(M_MMAP_THRESHOLD, kPage);
    MemoryHost host(file);
    host.keep_log = false;
    const auto buffer = std::make_unique<unsigned char[]>(QLIP_LARGEST_CHUNK);
    unsigned int size = 0;
    mm_Interface* handle = nullptr;
    const size_t before = counts().heap_calls;
    EXPECT_EQ(qlip_Open(&handle, host.record(), mode), 0);
    const size_t opened = counts().heap_calls - before;
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(qlip_ReadChunk(handle, buffer.get(), &size, true), 0);
    Footprint found{.record = touched_pages(handle), .heap_calls = opened};
    for (arena_chunk* chunk = handle->file->arena_head; chunk; chunk = chunk->next)
        found.arena += touched_pages(chunk);
    qlip_Close(&handle);
    return found;
}

class SampleCost : public testing::TestWithParam<SampleCase> {};
INSTANTIATE_TEST_SUITE_P(All, SampleCost, testing::ValuesIn(sample_cases()), sample_case_name);

}  // namespace

TEST_P(SampleCost, ReadingNeverTouchesTheHeap) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
    const Bytes file = sample(GetParam().file);
    for (const bool indexed : {false, true})
        EXPECT_EQ(stream(file, GetParam().mode, indexed).heap_calls, 0U);
}

// A session takes what its tables and the sample in hand do, however large its buffers are; blocks of the
// heap may begin within a page.
TEST(SessionCost, TouchesFewPages) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
    const Footprint speech = footprint(sample("amrnb_dtx_faststart.3gp"), "ra");
    EXPECT_EQ(speech.record, 1U);
    EXPECT_LE(speech.arena, 3U);
    EXPECT_EQ(speech.heap_calls, 3U) << "file, tables, session";
    const Footprint picture = footprint(sample("h263_cif_faststart.3gp"), "rv");
    EXPECT_LE(picture.record, 9U);
    EXPECT_LE(picture.arena, 6U);
    const Footprint mpeg4 = footprint(sample("mpeg4_hinted.3gp"), "rv");
    EXPECT_LE(mpeg4.record, 2U);
    EXPECT_LE(mpeg4.arena, 5U);
}

// Beside the host's own copy a frame is copied once into the caller's buffer, and carried frames move down
// one frame at a time through the carry buffer, 288 + 256 + ... + 32 bytes twice.
TEST(SessionCost, OfCopiesAndCallsPerFrameDoesNotRise) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the copy functions";
    EXPECT_LE(stream(speech_movie(50, 1), "ra", true).copied, 50U * (32 + 33));
    EXPECT_LE(stream(speech_movie(50, 10), "ra", true).copied, 50U * (320 + 10 * 33 + 2 * 1440));
    const TrackPlan video = video_track("s263", d263(), std::vector<Bytes>(50, Bytes(1000, 0x77)));
    const Cost cut = stream(build_movie({.tracks = {video}}), "rv", true);
    EXPECT_EQ(cut.callbacks, 50U * 2);
    EXPECT_LE(cut.copied, 50U * (1000 + 1000));

    // From hints a packet is built where it leaves from: the sample's head, the packet's, a constructor,
    // data.
    std::vector<Bytes> hints;
    for (unsigned int i = 1; i <= 50; ++i)
        hints.push_back(
            hint_sample({{.sequence = i, .marker = true, .constructors = {hint_sample_data(1000, i, 0)}}}));
    const Cost hinted = stream(build_movie({.tracks = {video, hint_track(hints)}}), "rv", true);
    EXPECT_EQ(hinted.callbacks, 50U * (4 + 1));
    EXPECT_LE(hinted.copied, 50U * (4 + 12 + 16 + 1000 + 1020));
}
