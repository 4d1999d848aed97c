// Whole sample files: timing, numbering, the count of memory blocks, and sessions side by side.
#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "qlip/SimpleException.h"
#include "session/session.h"
#include "tests/session/player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

class Sample : public testing::TestWithParam<SampleCase> {};

INSTANTIATE_TEST_SUITE_P(All, Sample, testing::ValuesIn(sample_cases()), sample_case_name);

// Time of all samples but the last, in seconds.
double time_of_last_sample(const iso_track* track) {
    double units = 0;
    int left = track->sample_count - 1;
    for (int row = 0; row < track->stts_count && left > 0; ++row) {
        const int taken = std::min(left, track->stts[row][0]);
        units += static_cast<double>(taken) * track->stts[row][1];
        left -= taken;
    }
    return units / track->timescale;
}

// Of the frames' first packets the timestamps; the numbers of all packets.
struct Numbering {
    std::vector<uint32_t> timestamps;
    std::vector<uint32_t> sequence;
};

Numbering numbering_of(const std::vector<Bytes>& chunks, bool audio) {
    Numbering out;
    for (size_t i = audio ? 4 : 2; i < chunks.size(); i += 2) {
        out.timestamps.push_back(word_at(chunks[i], audio ? 8 : 12));
        if (audio) {
            out.sequence.push_back(word_at(chunks[i], 16));
            continue;
        }
        const std::vector<Packet> packets = packets_of(chunks[i]);
        if (i > 2) {
            EXPECT_EQ(word_at(chunks[i - 1], 4), packets.size());
        }
        EXPECT_TRUE(packets.back().rtp_word & 1U << 23) << "the last packet of a frame has the marker";
        for (const Packet& packet : packets)
            out.sequence.push_back(packet.rtp_word & 0xFFFF);
    }
    return out;
}

int blocks_of_a_session(const Bytes& file) {
    const int before = malloccount + freecount;
    MemoryHost host(file);
    Player(host, "rv").rest();
    return malloccount + freecount - before;
}

}  // namespace

TEST_P(Sample, RunsAsLongAsItsSamplesAndIsNumberedWithoutAGap) {
    MemoryHost host(sample(GetParam().file));
    Player player(host, GetParam().mode);
    ASSERT_EQ(player.opened, 0);
    const iso_track* track = player.handle->track;
    const bool audio = GetParam().mode[1] == 'a';
    const Numbering got = numbering_of(player.rest(), audio);
    ASSERT_EQ(got.timestamps.size(), static_cast<size_t>(track->sample_count));
    const double clock = !audio ? 90000.0 : track->codec == ISO_CODEC_SAWB ? 16000.0 : 8000.0;
    EXPECT_NEAR(got.timestamps.back() - got.timestamps.front(), time_of_last_sample(track) * clock, 1.0);
    for (size_t i = 1; i < got.sequence.size(); ++i)
        ASSERT_EQ((got.sequence[i] - got.sequence[i - 1]) & 0xFFFF, 1U) << i;
}

// What a session adds to the file, such as room for MPEG-4 configurations, is counted back as well.
TEST_P(Sample, ASessionLeavesNoMoreBlocksUncountedThanItsFile) {
    MemoryHost host(sample(GetParam().file));
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* io = host.record();
    char read[] = "r";
    const int before = malloccount - freecount;
    isoFFclose(isoFFopen(io, read, nullptr));
    const int of_file = malloccount - freecount - before;
    MemoryHost fresh(sample(GetParam().file));
    { EXPECT_GT(Player(fresh, GetParam().mode).rest().size(), 0U); }
    EXPECT_LE(malloccount - freecount - before, 2 * of_file);
}

// Under ThreadSanitizer this shows that sessions share nothing.
TEST(Threads, SessionsSideBySideDeliverTheSameAndCountEveryBlock) {
    constexpr int kThreads = 4, kRounds = 4;
    const Bytes file = sample(sample_names().front());
    MemoryHost host(file);
    const std::vector<Bytes> want = Player(host, "rv").rest();
    const int once = blocks_of_a_session(file);
    const int before = malloccount + freecount;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, indexed = i % 2 == 0] {
            for (int round = 0; round < kRounds; ++round) {
                MemoryHost own(file);
                EXPECT_EQ(Player(own, "rv", indexed).rest(), want);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(malloccount + freecount - before, kThreads * kRounds * once);
}
