// What a chunk costs, in numbers that do not depend on a clock: heap calls, callbacks, bytes copied.
#include <gtest/gtest.h>

#include <memory>

#include "qlip/SimpleException.h"
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
    size_t chunks = 0;
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
    while (qlip_ReadChunk(handle, buffer.get(), &size, indexed) == QLIP_SUCCESS)
        ++cost.chunks;
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
    return build_movie({.tracks = {{.samples = std::vector<Bytes>(samples, together),
                                    .delta = 160 * frames_per_sample,
                                    .sample_entry = samr_entry(damr(frames_per_sample))}}});
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

TEST(AudioCost, CallbacksAreOnePerSampleAndReport) {
    for (const unsigned int frames : {1U, 10U}) {
        const Bytes movie = speech_movie(50, frames);
        EXPECT_EQ(stream(movie, "ra", false).callbacks, 50U * 3);
        EXPECT_EQ(stream(movie, "ra", true).callbacks, 50U * 2);
    }
}

// Beside the host's own copy: a frame is copied once into the caller's buffer, and carried frames move down
// one frame at a time through the carry buffer, 288 + 256 + ... + 32 bytes twice.
TEST(AudioCost, BytesCopiedPerFrameDoNotRise) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the copy functions";
    EXPECT_LE(stream(speech_movie(50, 1), "ra", true).copied, 50U * (32 + 33));
    EXPECT_LE(stream(speech_movie(50, 10), "ra", true).copied, 50U * (320 + 10 * 33 + 2 * 1440));
}

// The host's copy, one into packet records and one into the caller's buffer.
TEST(VideoCost, BytesCopiedPerFrameDoNotRise) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the copy functions";
    const std::vector<Bytes> samples(50, Bytes(1000, 0x77));
    const Bytes movie = build_movie({.tracks = {{.handler = "vide",
                                                 .timescale = 90000,
                                                 .samples = samples,
                                                 .delta = 3000,
                                                 .sample_entry = visual_entry("s263", 176, 144, d263())}}});
    const Cost cost = stream(movie, "rv", true);
    EXPECT_EQ(cost.callbacks, 50U * 2);
    EXPECT_LE(cost.copied, 50U * (1000 + 1002 + 1022));
}
