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
    KitPlayer player(file);
    EXPECT_EQ(player.open(medium), 0);
    Cost cost;
    const Counts before = counts();
    EXPECT_EQ(seek ? qlip_stream_seek(player.stream, 1500000000, nullptr) : 0, 0);
    for (const qlip_frame* frame = nullptr; qlip_stream_read(player.stream, &frame) == 0; ++cost.frames) {
        for (unsigned int i = 0; i < frame->packet_count; ++i)
            cost.payload += frame->packets[i].iov_len - QLIP_RTP_HEADER_SIZE;
    }
    cost.heap_calls = counts().heap_calls - before.heap_calls;
    cost.copied = counts().copied - before.copied;
    return cost;
}

class KitCost : public testing::TestWithParam<SampleCase> {
  protected:
    const Bytes file = sample(GetParam().file);
    const qlip_medium medium = GetParam().mode[1] == 'a' ? QLIP_AUDIO : QLIP_VIDEO;
};
INSTANTIATE_TEST_SUITE_P(All, KitCost, testing::ValuesIn(sample_cases()), sample_case_name);

}  // namespace

TEST_P(KitCost, ReadingAndSeekingNeverTouchTheHeap) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the heap";
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
    KitPlayer player(file);
    ASSERT_EQ(player.open(medium), 0);
    std::deque<Held> under_way(4);
    size_t frames = 0, late_heap_calls = 0;
    const qlip_frame* frame = nullptr;
    for (int status = 0; status == 0; ++frames) {
        Held held;
        const Counts before = counts();
        status = qlip_stream_read(player.stream, &frame);
        EXPECT_EQ(qlip_stream_keep_packets(player.stream, &held.packets), status == 0 ? 0 : 8);
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
    qlip_stream_close(&player.stream);
    qlip_source_close(&player.source);
    std::thread([&] {
        std::for_each(under_way.begin(), under_way.end(), std::mem_fn(&Held::let_go));
    }).join();
}

TEST(KitCopies, AreTheSourcesOwnAndOneIntoPackets) {
    if (!counting) GTEST_SKIP() << "the sanitizer owns the copy functions";
    Bytes speech(32, 0x55);
    speech[0] = 0x3C;
    TrackPlan sound = speech_track(std::vector<Bytes>(50, join({speech, speech, speech})), 3);
    sound.delta = 480;
    const Cost spoken = read_all(build_movie({.tracks = {sound}}), QLIP_AUDIO);
    EXPECT_EQ(spoken.frames, 150U);
    EXPECT_LE(spoken.copied, 150U * 32 + spoken.payload);
    const TrackPlan film = video_track("s263", d263(), std::vector<Bytes>(50, Bytes(1000, 0x77)));
    const Cost shown = read_all(build_movie({.tracks = {film}}), QLIP_VIDEO);
    EXPECT_EQ(shown.frames, 50U);
    EXPECT_LE(shown.copied, 50U * 1000 + shown.payload);
}
