// What a frame costs, in numbers that do not depend on a clock.
#include <algorithm>
#include <deque>
#include <functional>
#include <thread>

#include "tests/kit/kit_player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/allocation_count.h"
#include "tests/support/movie_builder.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

struct Cost {
    size_t heap_calls = 0;
    size_t copied = 0;  // by the memory source, too
    size_t frames = 0;
    size_t payload = 0;
};

Cost read_all(const Bytes& file, qlip_medium medium, bool seek = false) {
    qlip_source* source = nullptr;
    qlip_stream* stream = nullptr;
    EXPECT_EQ(qlip_source_memory(&source, file.data(), file.size()), 0);
    EXPECT_EQ(qlip_stream_open(&stream, source, medium, nullptr), 0);
    Cost cost;
    const Counts before = counts();
    EXPECT_EQ(seek ? qlip_stream_seek(stream, 1500000000, nullptr) : 0, 0);
    for (const qlip_frame* frame = nullptr; qlip_stream_read(stream, &frame) == 0; ++cost.frames) {
        for (unsigned int i = 0; i < frame->packet_count; ++i)
            cost.payload += frame->packets[i].iov_len - QLIP_RTP_HEADER_SIZE;
    }
    cost.heap_calls = counts().heap_calls - before.heap_calls;
    cost.copied = counts().copied - before.copied;
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return cost;
}

class KitCost : public testing::TestWithParam<SampleCase> {};
INSTANTIATE_TEST_SUITE_P(All, KitCost, testing::ValuesIn(sample_cases()), sample_case_name);

Bytes film(std::string_view entry, const Bytes& configuration) {
    return build_movie({.tracks = {{.handler = "vide",
                                    .timescale = 90000,
                                    .samples = std::vector<Bytes>(50, Bytes(1000, 0x77)),
                                    .delta = 3000,
                                    .sample_entry = visual_entry(entry, 176, 144, configuration)}}});
}

}  // namespace

TEST_P(KitCost, ReadingAndSeekingNeverTouchTheHeap) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
    const Bytes file = sample(GetParam().file);
    const qlip_medium medium = GetParam().mode[1] == 'a' ? QLIP_AUDIO : QLIP_VIDEO;
    EXPECT_EQ(read_all(file, medium).heap_calls, 0U);
    EXPECT_EQ(read_all(file, medium, true).heap_calls, 0U);
}

// A sender that has a few frames under way. The last of them outlive everything, in another thread.
TEST_P(KitCost, PacketsStayWhileTheyAreHeldAndTheirMemoryIsUsedAgain) {
    struct Held {
        qlip_packets* packets = nullptr;
        std::vector<std::pair<const unsigned char*, Bytes>> were;
        void let_go() {
            for (const auto& [at, bytes] : were)
                EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), at));
            EXPECT_EQ(qlip_packets_release(&packets), 0);
            EXPECT_FALSE(packets);
        }
    };
    const Bytes file = sample(GetParam().file);
    qlip_source* source = nullptr;
    qlip_stream* stream = nullptr;
    ASSERT_EQ(qlip_source_memory(&source, file.data(), file.size()), 0);
    ASSERT_EQ(qlip_stream_open(&stream, source, GetParam().mode[1] == 'a' ? QLIP_AUDIO : QLIP_VIDEO, nullptr),
              0);
    std::deque<Held> under_way(4);
    size_t frames = 0, late_heap_calls = 0;
    const qlip_frame* frame = nullptr;
    for (int status = 0; status == 0; ++frames) {
        Held held;
        const Counts before = counts();
        status = qlip_stream_read(stream, &frame);
        EXPECT_EQ(qlip_stream_keep_packets(stream, &held.packets), status == 0 ? 0 : 8);
        if (frames > under_way.size()) late_heap_calls += counts().heap_calls - before.heap_calls;
        for (unsigned int i = 0; status == 0 && i < frame->packet_count; ++i) {
            const auto* at = static_cast<const unsigned char*>(frame->packets[i].iov_base);
            held.were.emplace_back(at, Bytes(at, at + frame->packets[i].iov_len));
        }
        under_way.push_back(std::move(held));
        under_way.front().let_go();
        under_way.pop_front();
    }
    EXPECT_GT(frames, under_way.size());
    EXPECT_EQ(late_heap_calls, 0U);
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    std::thread([&] {
        std::for_each(under_way.begin(), under_way.end(), std::mem_fn(&Held::let_go));
    }).join();
}

TEST(KitCopies, AreTheSourcesOwnAndOneIntoPackets) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the copy functions";
    Bytes speech(32, 0x55);
    speech[0] = 0x3C;
    const Bytes sound =
        build_movie({.tracks = {{.samples = std::vector<Bytes>(50, join({speech, speech, speech})),
                                 .delta = 480,
                                 .sample_entry = samr_entry(damr(3))}}});
    const Cost spoken = read_all(sound, QLIP_AUDIO);
    EXPECT_EQ(spoken.frames, 150U);
    EXPECT_LE(spoken.copied, 150U * 32 + spoken.payload);
    const Cost shown = read_all(film("s263", d263()), QLIP_VIDEO);
    EXPECT_EQ(shown.frames, 50U);
    EXPECT_LE(shown.copied, 50U * 1000 + shown.payload);
}
