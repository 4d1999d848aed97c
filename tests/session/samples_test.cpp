// Whole sample files: timing, numbering, and files that are still arriving.
#include <gtest/gtest.h>

#include <cmath>

#include "qlip/SimpleException.h"
#include "session/session.h"
#include "tests/session/player.h"
#include "tests/session/sample_cases.h"
#include "tests/support/samples.h"

using namespace qlip_test;

namespace {

class Sample : public testing::TestWithParam<SampleCase> {};

INSTANTIATE_TEST_SUITE_P(All, Sample, testing::ValuesIn(sample_cases()), sample_case_name);

// Timestamps of the frames, from their first packet each.
std::vector<uint32_t> frame_timestamps(const std::vector<Bytes>& chunks, bool audio) {
    std::vector<uint32_t> timestamps;
    for (size_t i = audio ? 4 : 2; i < chunks.size(); i += 2)
        timestamps.push_back(word_at(chunks[i], audio ? 8 : 12));
    return timestamps;
}

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

}  // namespace

TEST_P(Sample, TimestampsRunAsLongAsTheSamples) {
    MemoryHost host(sample(GetParam().file));
    Player player(host, GetParam().mode);
    ASSERT_EQ(player.opened, 0);
    const bool audio = GetParam().mode[1] == 'a';
    const std::vector<uint32_t> timestamps = frame_timestamps(player.rest(), audio);
    ASSERT_EQ(timestamps.size(), static_cast<size_t>(player.handle->track->sample_count));
    const double clock = !audio ? 90000.0 : player.handle->track->codec == ISO_CODEC_SAWB ? 16000.0 : 8000.0;
    const double expected = time_of_last_sample(player.handle->track) * clock;
    EXPECT_NEAR(timestamps.back() - timestamps.front(), expected, 1.0);
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
    EXPECT_EQ(malloccount - freecount - before, 2 * of_file);
}

TEST_P(Sample, PacketsAreNumberedWithoutAGap) {
    MemoryHost host(sample(GetParam().file));
    Player player(host, GetParam().mode);
    const std::vector<Bytes> chunks = player.rest();
    if (GetParam().mode[1] == 'a') {
        for (size_t i = 4; i < chunks.size(); i += 2)
            ASSERT_EQ(word_at(chunks[i], 16), (i - 4) / 2);
        return;
    }
    std::vector<Packet> packets = packets_of(chunks[2]);
    for (size_t i = 4; i < chunks.size(); i += 2) {
        const std::vector<Packet> more = packets_of(chunks[i]);
        EXPECT_EQ(word_at(chunks[i - 1], 4), more.size());
        EXPECT_TRUE(more.back().rtp_word & 1U << 23) << "the last packet of a frame has the marker";
        packets.insert(packets.end(), more.begin(), more.end());
    }
    for (size_t i = 1; i < packets.size(); ++i)
        ASSERT_EQ((packets[i].rtp_word - packets[i - 1].rtp_word) & 0xFFFF, 1U) << i;
}

namespace {

Bytes concatenate(const std::vector<Bytes>& chunks) {
    Bytes all;
    for (const Bytes& chunk : chunks)
        all.insert(all.end(), chunk.begin(), chunk.end());
    return all;
}

// Grows by little whenever the library finds that data is missing.
void expect_growing_file_to_stream_whole(const char* file, const char* mode, unsigned int start) {
    MemoryHost whole_host(sample(file)), growing_host(sample(file));
    Player whole(whole_host, mode), growing(growing_host, mode, true);
    growing_host.arrived = start;
    Bytes stream;
    unsigned int waits = 0;
    for (;;) {
        const Player::Step step = growing.read();
        if (step.status == QLIP_END_OF_FILE) break;
        if (step.status == QLIP_NOT_AVAILABLE_YET) {
            ++waits;
            *growing_host.arrived += 7;
            continue;
        }
        ASSERT_EQ(step.status, 0);
        stream.insert(stream.end(), step.bytes.begin(), step.bytes.end());
    }
    EXPECT_GT(waits, 10U);
    EXPECT_EQ(stream, concatenate(whole.rest()));
}

}  // namespace

TEST(GrowingFile, LosesNothing) {
    expect_growing_file_to_stream_whole("amrnb_dtx_faststart.3gp", "ra", 2000);
    expect_growing_file_to_stream_whole("h263_cif_faststart.3gp", "rv", 20000);
}
