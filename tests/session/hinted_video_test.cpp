// Video with hint tracks: their packets are replayed. Packets are worked out by hand.
#include "tests/session/stream_fixture.h"

using namespace qlip_test;

namespace {

using HintedVideo = Stream;
INSTANTIATE_TEST_SUITE_P(ReadModes, HintedVideo, testing::Bool(), read_mode_name);

TrackPlan h263(std::vector<Bytes> samples) {
    return video_track("s263", d263(20, 3), std::move(samples));
}

const Bytes kSequence = {0, 0, 1, 0xB0, 3, 7};
const Bytes kIntra = {0, 0, 1, 0xB6, 0x10, 1, 2, 3, 4};
const Bytes kPredicted = {0, 0, 1, 0xB6, 0x50, 1, 2, 3, 4};

TrackPlan mpeg4(std::vector<Bytes> samples) {
    return video_track("mp4v", esds(kSequence), std::move(samples));
}

// One packet that holds a whole sample.
Bytes whole(unsigned int sequence, bool marker, unsigned int number, const Bytes& media) {
    return hint_sample({cite(sequence, marker, number, static_cast<unsigned int>(media.size()))});
}

}  // namespace

TEST_P(HintedVideo, H263HeaderShowsTheHintTrackAndItsFirstPacket) {
    for (const unsigned int payload_type : {34U, 96U}) {
        const Bytes media = run(40);
        const Bytes hints = hint_sample({cite(100, true, 1, 40, 0, payload_type)});
        open({h263({media}), hint_track({hints, hints})});
        EXPECT_EQ(chunk(), join({Bytes{'V', 'I', 'D', 'E', 'O', ' ', ' ', ' '}, words({92, 10, 0, 2})}));
        const Bytes name = {'s', '2', '6', '3', static_cast<unsigned char>(payload_type == 34 ? 0 : '+'),
                            0,   0,   0};
        const auto hint_bytes = static_cast<uint32_t>(2 * hints.size());
        const Bytes header =
            join({words({0, 0, 0, 0}), name,
                  words({0, hint_bytes * 8, 320, 240, 356, 0, 0, 1000, 0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC}),
                  words({80, 1, 0})});
        EXPECT_EQ(chunk(), header);
        const Slot report = GetParam() ? Slot::AdvanceRead : Slot::Seek;
        EXPECT_EQ(host->log.back(), (MemoryHost::Call{report, 32, 0, 0, 0})) << "the media lie first";
        EXPECT_EQ(chunk(), frame_body({packet_record(34, true, 100, 0, media)}));
        expect_frame(80, 1, 0, frame_body({packet_record(34, true, 100, 45000, media)}));
        EXPECT_EQ(player->read().status, 1);
    }
}

// Each call arms the hint track anew, which forgets the packets left behind a marker: the next entry's first
// half word, 0, is taken for a packet count.
TEST_P(HintedVideo, AFrameRunsToTheMarkerWhateverTheHintSamplesAre) {
    const Bytes media = run(90), a = slice(media, 0, 20), b = slice(media, 20, 30), c = slice(media, 50, 40);
    const Bytes last = hint_sample({cite(9, true, 1, 40, 50)});
    open({h263({media}),
          hint_track({hint_sample({cite(7, false, 1, 20), cite(8, false, 1, 30, 20)}), last, last,
                      hint_sample({cite(1, true, 1, 20), cite(2, true, 1, 20)}),
                      hint_sample({cite(3, true, 1, 20)}), hint_sample({cite(4, false, 1, 20)})})});
    chunk();
    EXPECT_EQ(slice(chunk(), 68, 12), words({172, 3, 2}));  // 40 + 50 + 60 and 20
    EXPECT_EQ(chunk(), frame_body({packet_record(34, false, 7, 0, a), packet_record(34, false, 8, 0, b),
                                   packet_record(34, true, 9, 45000, c)}));
    expect_frame(80, 1, 0, frame_body({packet_record(34, true, 9, 90000, c)}));
    expect_frame(60, 1, 0, frame_body({packet_record(34, true, 1, 135000, a)}));
    expect_frame(60, 1, 0, frame_body({packet_record(34, true, 3, 180000, a)}));
    expect_nothing(1);
}

TEST_P(HintedVideo, AHintTrackWithoutPacketsEndsAfterTwoRecords) {
    open({h263({run(40)}), hint_track({hint_sample({}), hint_sample({})})});
    chunk();
    EXPECT_EQ(player->read_raw(), 1);
    EXPECT_EQ(player->buffer(17), join({Bytes(16, 0), Bytes{Player::kUntouched}}));
    EXPECT_EQ(player->read_raw(), 0);
    EXPECT_EQ(player->buffer(9), join({words({4, 1}), Bytes{Player::kUntouched}}));
    EXPECT_EQ(player->read_raw(), 1);
}

TEST_P(HintedVideo, OnlyPacketSizesFrom1To1400AreTaken) {
    const Bytes media = run(40);
    for (const unsigned int size : {0U, 1U, 1400U, 1401U}) {
        open({h263({media}), hint_track({whole(500, true, 1, media)}, size)});
        chunk();
        const Bytes header = chunk();
        const bool taken = size == 1 || size == 1400;
        EXPECT_EQ(word_at(header, 32), taken ? 320U : 176U) << size;
        EXPECT_EQ(packets_of(chunk()).at(0).rtp_word & 0xFFFF, taken ? 500U : 0U);
    }
}

TEST_P(HintedVideo, AFrameMayFillTheBufferButNotMore) {
    const Bytes media = run(60000);
    const auto frame = [](unsigned int extra) {
        return hint_sample(
            {cite(1, false, 1, 60000), cite(2, true, 1, 3960 + extra)});  // 64,000 with two records
    };
    open({h263({media}), hint_track({frame(0), frame(1), frame(0)})});
    chunk();
    EXPECT_EQ(slice(chunk(), 68, 12), words({64020, 2, 0}));
    EXPECT_EQ(chunk().size(), 64008U);
    EXPECT_EQ(player->read_raw(), 2);
    EXPECT_EQ(player->handle->status, 2);
    EXPECT_EQ(player->read_raw(), 0);
    EXPECT_EQ(player->read_raw(), 0) << "the next frame is in order";
    EXPECT_EQ(player->buffer(12), words({64020, 2, 0}));
}

TEST_P(HintedVideo, ABadPacketIsStatus2) {
    const Bytes media = run(40);
    const Bytes bad = hint_sample({cite(2, true, 9, 40)});  // there is no sample 9
    open({h263({media}), hint_track({whole(1, true, 1, media), bad})});
    pass(3);
    EXPECT_EQ(player->read_raw(), 2);
    EXPECT_EQ(player->handle->status, 2);
    EXPECT_EQ(player->buffer(12), Bytes(12, Player::kUntouched));
    open({mpeg4({media}), hint_track({bad})});
    chunk();
    EXPECT_EQ(player->read_raw(), 1) << "MPEG-4 takes a first packet's failure for the end";
    open({h264({media}), hint_track({bad})});
    chunk();
    EXPECT_EQ(player->read_raw(), 2);
    EXPECT_EQ(player->handle->status, 0);
}

// Indexed hint reads go by what was asked for; positioned ones by what came.
TEST_P(HintedVideo, WhatAShortReadLeavesOutOfAPacketIsZeroAtFirst) {
    const Bytes media = run(40);
    open({h263({media}), hint_track({whole(1, true, 1, media)})});
    chunk();
    host->most_per_read = 16;
    if (!GetParam()) {
        EXPECT_EQ(player->read_raw(), 2);
        return;
    }
    EXPECT_EQ(slice(chunk(), 68, 12), words({80, 1, 0}));
    const Bytes payload = join({slice(media, 0, 16), Bytes(24, 0)});
    EXPECT_EQ(chunk(), frame_body({packet_record(34, true, 1, 0, payload)}));
}

TEST_P(HintedVideo, Mpeg4ConfigurationGoesInFrontOfTheVop) {
    const Bytes first = join({Bytes{9, 9}, kIntra, run(20)});
    const Bytes other = Bytes{0, 0, 1, 0xB0, 8, 1, 1, 1};
    const Bytes own = join({Bytes{9}, other, kIntra, run(20)});
    const Bytes later = join({kPredicted, run(20)});
    open({mpeg4({first, own, later}), hint_track({whole(1, true, 1, first), whole(2, true, 2, own),
                                                  whole(3, true, 3, later), whole(4, true, 1, first)})});
    chunk();
    const Bytes header = chunk();
    EXPECT_EQ(word_at(header, 32), 320U) << "size of the hint track";
    EXPECT_EQ(slice(header, 44, 10), join({words({3}), kSequence})) << "configuration of the media track";
    EXPECT_EQ(chunk(),
              frame_body({packet_record(102, true, 1, 0, join({Bytes{9, 9}, kSequence, kIntra, run(20)}))}));
    chunk();
    EXPECT_EQ(chunk(), frame_body({packet_record(102, true, 2, 45000, own)}));
    chunk();
    EXPECT_EQ(chunk(), frame_body({packet_record(102, true, 3, 90000, later)}));
    chunk();
    EXPECT_EQ(chunk(),
              frame_body({packet_record(102, true, 4, 135000, join({Bytes{9, 9}, other, kIntra, run(20)}))}));
}

// The search leaves out the last four bytes of the payload beside those that it needs itself.
TEST_P(HintedVideo, Mpeg4ConfigurationAbove350BytesIsIgnoredAndAVopAtTheVeryEndNotSeen) {
    const auto sequence = [](size_t size) { return join({Bytes{0, 0, 1, 0xB0, 8}, run(size - 5)}); };
    const Bytes intra = join({kIntra, run(20)}), unseen = slice(kIntra, 0, 8);
    const Bytes fits = join({sequence(350), intra}), long_one = join({sequence(351), intra});
    const struct {
        Bytes first, second, first_payload, second_payload;
    } kCases[] = {{fits, intra, fits, fits},
                  {long_one, intra, long_one, join({kSequence, intra})},
                  {kIntra, unseen, join({kSequence, kIntra}), unseen}};
    for (const auto& [first, second, first_payload, second_payload] : kCases) {
        open({mpeg4({first, second}), hint_track({whole(1, true, 1, first), whole(2, true, 2, second)})});
        pass(2);
        EXPECT_EQ(payload(), first_payload);
        chunk();
        EXPECT_EQ(payload(), second_payload);
    }
}

TEST_P(HintedVideo, Mpeg4VopBehindTheFirstPacketScribblesOverTheFrame) {
    const Bytes media = join({run(60), kIntra, run(20)});
    open({mpeg4({media}), hint_track({hint_sample({cite(1, false, 1, 60), cite(2, true, 1, 29, 60)})})});
    chunk();
    EXPECT_EQ(slice(chunk(), 416, 12), words({156, 2, 1}));  // 80 + 55 and 20
    const Bytes body = chunk();
    const Bytes rtp = {0x80, 0xE0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0};
    const Bytes rebuilt = join({rtp, kSequence, kIntra, run(20)});
    EXPECT_EQ(slice(body, 8, rebuilt.size()), rebuilt);
    EXPECT_EQ(slice(body, 88, 55), packet_record(102, true, 2, 0, join({kSequence, kIntra, run(20)})));
}

TEST_P(HintedVideo, H264ParameterSetsOpenTheStreamAndEachLaterIdrFrame) {
    const Bytes idr = join({Bytes{0x65}, run(30)});
    const Bytes other = join({Bytes{0x41}, run(30)});
    const Bytes fu_start = join({Bytes{0x7C, 0x85}, run(20)}), fu_end = join({Bytes{0x7C, 0x45}, run(20)});
    const Bytes fus = join({fu_start, fu_end, fu_start});
    open({h264({idr, other, fus}),
          hint_track(
              {whole(50, true, 1, idr), whole(51, true, 2, other),
               hint_sample({cite(52, false, 3, 22), cite(53, false, 3, 22, 22), cite(54, true, 3, 22, 44)}),
               whole(55, true, 1, idr)})});
    EXPECT_EQ(word_at(chunk(), 8), 452U);
    const Bytes header = chunk();
    EXPECT_EQ(word_at(header, 44), 0xE1U) << "configuration of the media track";
    EXPECT_EQ(slice(header, 428, 12), words({120, 3, 1}));  // 25 + 23 + 51 and 20
    EXPECT_EQ(chunk(),
              frame_body({packet_record(103, false, 0, 0, kSps), packet_record(103, false, 1, 0, kPps),
                          packet_record(103, true, 2, 0, idr)}));
    expect_frame(72, 1, 1, frame_body({packet_record(103, true, 3, 45000, other)}));
    expect_frame(
        196, 5, 2,
        frame_body({packet_record(103, false, 4, 90000, kSps), packet_record(103, false, 5, 90000, kPps),
                    packet_record(103, false, 6, 90000, fu_start),
                    packet_record(103, false, 7, 90000, fu_end),
                    packet_record(103, true, 8, 90000, fu_start)}));
    expect_frame(
        120, 3, 1,
        frame_body({packet_record(103, false, 9, 135000, kSps), packet_record(103, false, 10, 135000, kPps),
                    packet_record(103, true, 11, 135000, idr)}));
    EXPECT_EQ(player->read().status, 1);
}

TEST_P(HintedVideo, H264IdrPacketBelowSequence3GetsNoSets) {
    const Bytes idr = join({Bytes{0x65}, run(30)});
    TrackPlan media = video_track("avc1", avcC(4, {kSps}, {}), {idr});
    open({media, hint_track({whole(9, true, 1, idr), whole(10, true, 1, idr), whole(11, true, 1, idr)})});
    pass(3);
    expect_frame(72, 1, 1, frame_body({packet_record(103, true, 2, 45000, idr)}));
    expect_frame(
        96, 2, 0,
        frame_body({packet_record(103, false, 3, 90000, kSps), packet_record(103, true, 4, 90000, idr)}));
}

TEST_P(HintedVideo, H264FragmentsWithoutTheStartFlagAndAggregatesOpenNothing) {
    for (const Bytes& payload :
         {Bytes{0x7C, 0x05, 1, 2}, Bytes{0x78, 0, 2, 0x65, 1}, Bytes{0x7C, 0x81, 1, 2}}) {
        open({h264({payload}), hint_track({whole(1, true, 1, payload), whole(2, true, 1, payload),
                                           whole(3, true, 1, payload)})});
        chunk();
        chunk();
        EXPECT_EQ(packets_of(chunk()).size(), 3U) << "at the start of the stream they always come";
        for (int i = 0; i < 2; ++i) {
            chunk();
            EXPECT_EQ(packets_of(chunk()).size(), 1U);
        }
    }
}

TEST_P(HintedVideo, H264SetsThatDoNotFitAreStatus2) {
    const Bytes large = join({Bytes{0x67, 0x42, 0xE0, 0x1E}, run(40000)});
    const Bytes idr = join({Bytes{0x65}, run(30000)});
    for (const size_t count : {1U, 2U}) {
        const std::vector<Bytes> sets(count, large);
        open({video_track("avc1", avcC(4, sets, {}), {idr}), hint_track({whole(1, true, 1, idr)})});
        chunk();
        EXPECT_EQ(player->read_raw(), 2);
    }
}

TEST(HintedVideoFaults, DataNotThereYetForTheFirstFrame) {
    const Bytes media = run(90);
    const Bytes frame = hint_sample({cite(7, false, 1, 20), cite(8, true, 1, 30, 20)});
    const struct {
        TrackPlan track;
        int status;
    } kCases[] = {{h263({media}), 2}, {h264({media}), 2}, {mpeg4({media}), 0}};
    for (const auto& [track, status] : kCases) {
        SCOPED_TRACE(track.sample_entry[6]);
        MemoryHost host(build_movie({.tracks = {track, hint_track({frame, frame})}}));
        Player player(host, "rv", true);
        ASSERT_EQ(player.read().status, 0);
        host.clear_log();
        host.fault = MemoryHost::Fault{.slot = Slot::IndexRead, .call = 6};
        EXPECT_EQ(player.read_raw(), status);
        EXPECT_EQ(host.log.back().slot, status == 0 ? Slot::AdvanceRead : Slot::IndexRead);
        EXPECT_EQ(player.read_raw(), 0);
        const Bytes gathered = packet_record(102, false, 7, 0, slice(media, 0, 20));
        if (status == 0) {
            EXPECT_EQ(slice(player.buffer(48), 8, 40), gathered) << "the body is what was gathered";
        }
        EXPECT_EQ(player.read_raw(), 0) << "the next frame starts with the packet that failed";
        EXPECT_EQ(word_at(player.buffer(12), 4), 1U);
    }
}
