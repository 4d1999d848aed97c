// Video without hint tracks: the library cuts the samples. Packets are worked out by hand.
#include "tests/session/stream_fixture.h"

using namespace qlip_test;

namespace {

using CutVideo = Stream;
INSTANTIATE_TEST_SUITE_P(ReadModes, CutVideo, testing::Bool(), read_mode_name);

const Bytes kStart263 = {0, 0, 0x80};

// MPEG-4 pieces: a configuration with profile 3, and VOPs by their type bits.
const Bytes kSequence = {0, 0, 1, 0xB0, 3, 0, 0, 1, 0xB5, 9};
const Bytes kOtherSequence = {0, 0, 1, 0xB0, 8, 7};
Bytes intra(size_t size = 8) {
    return join({Bytes{0, 0, 1, 0xB6, 0x10}, run(size - 5)});
}
Bytes predicted(size_t size = 8) {
    return join({Bytes{0, 0, 1, 0xB6, 0x50}, run(size - 5)});
}

Bytes nal(unsigned int length_size, const Bytes& unit) {
    Bytes out;
    for (unsigned int i = length_size; i > 0; --i)
        out.push_back(static_cast<unsigned char>(unit.size() >> (8 * (i - 1))));
    return join({out, unit});
}

}  // namespace

TEST_P(CutVideo, H263StreamFromHeaderToEnd) {
    // 3,000 bytes with a second start code at 1,000: 998 + 1,398 + 600 bytes behind the P bits.
    const Bytes first = join({kStart263, run(997), kStart263, run(1997)});
    const Bytes second = run(101);
    open({video_track("s263", d263(20, 3), {first, second})});
    EXPECT_EQ(chunk(), join({Bytes{'V', 'I', 'D', 'E', 'O', ' ', ' ', ' '}, words({92, 10, 0, 2})}));
    const Bytes header =
        join({words({0, 0, 0, 0}), Bytes{'s', '2', '6', '3', '+', 0, 0, 0},
              words({0, 3101 * 8, 176, 144, 356, 3, 20, 1000, 0xCCCCCCCC, 0xCCCCCCCC, 0xCCCCCCCC}),
              words({3084, 3, 2})});
    EXPECT_EQ(chunk(), header);
    const Bytes a = join({Bytes{4, 0}, slice(first, 2, 998)});
    const Bytes b = join({Bytes{4, 0}, slice(first, 1002, 1398)});
    const Bytes c = join({Bytes{0, 0}, slice(first, 2400, 600)});
    EXPECT_EQ(chunk(), frame_body({packet_record(34, false, 0, 0, a), packet_record(34, false, 1, 0, b),
                                   packet_record(34, true, 2, 0, c)}));
    const Bytes last = frame_body({packet_record(34, true, 3, 45000, join({Bytes{0, 0}, second}))});
    expect_frame(144, 1, 1, last);
    const Slot report = GetParam() ? Slot::AdvanceRead : Slot::Seek;
    EXPECT_EQ(host->log.size(), GetParam() ? 2U * 2 : 2U * 3) << "each sample is read and reported once";
    EXPECT_EQ(host->log.back(), (MemoryHost::Call{report, 32 + 3101, 0, 0, 0}));
    expect_end(last);
}

TEST_P(CutVideo, H264PutsParameterSetsInFrontOfIdrFramesThatLackThem) {
    const Bytes idr = join({Bytes{0x65}, run(19)});
    const Bytes slice_nal = join({Bytes{0x41}, run(2999)});
    open({h264({nal(4, idr), nal(4, slice_nal), join({nal(4, kSps), nal(4, idr)})})});
    EXPECT_EQ(word_at(chunk(), 8), 452U);
    const Bytes header = chunk();
    ASSERT_EQ(header.size(), 440U);
    EXPECT_EQ(slice(header, 16, 8), (Bytes{'s', '2', '6', '4', 0, 0, 0, 0}));
    EXPECT_EQ(slice(header, 40, 4), words({365}));
    const Bytes avcc = slice(avcC(4, {kSps}, {kPps}), 8, 19);
    EXPECT_EQ(slice(header, 44, 12), words({0xE1, 0, 5}));
    EXPECT_EQ(slice(header, 56, 350), join({avcc, Bytes(331, 0)}));
    EXPECT_EQ(slice(header, 406, 6), (Bytes{19, 0, 2, 0, 0, 0}));
    EXPECT_EQ(slice(header, 428, 12), words({108, 3, 0}));  // 25 + 23 + 40 and 20
    EXPECT_EQ(chunk(),
              frame_body({packet_record(103, false, 0, 0, kSps), packet_record(103, false, 1, 0, kPps),
                          packet_record(103, true, 2, 0, idr)}));
    // 3,000 bytes: FU-A of 1,398, 1,398 and 203 bytes of the unit behind its first.
    const Bytes a = join({Bytes{0x5C, 0x81}, slice(slice_nal, 1, 1398)});
    const Bytes b = join({Bytes{0x5C, 0x01}, slice(slice_nal, 1399, 1398)});
    const Bytes c = join({Bytes{0x5C, 0x41}, slice(slice_nal, 2797, 203)});
    expect_frame(3088, 3, 3,
                 frame_body({packet_record(103, false, 3, 45000, a), packet_record(103, false, 4, 45000, b),
                             packet_record(103, true, 5, 45000, c)}));
    expect_frame(
        88, 2, 3,
        frame_body({packet_record(103, false, 6, 90000, kSps), packet_record(103, true, 7, 90000, idr)}));
    EXPECT_EQ(player->read().status, 1);
}

TEST_P(CutVideo, Mpeg4GivesIntraFramesTheConfiguration) {
    const Bytes with_own = join({kOtherSequence, intra()});
    open({video_track("mp4v", esds(kSequence),
                      {intra(), predicted(), with_own, intra(), Bytes{0, 0, 1, 0xB6}})});
    EXPECT_EQ(word_at(chunk(), 8), 440U);
    const Bytes header = chunk();
    ASSERT_EQ(header.size(), 428U);
    EXPECT_EQ(slice(header, 16, 8), (Bytes{'m', 'p', '4', 'v', 0, 0, 0, 0}));
    EXPECT_EQ(slice(header, 44, 4), words({3}));
    EXPECT_EQ(slice(header, 48, 352), join({kSequence, Bytes(340, 0), Bytes{10, 0}}));
    EXPECT_EQ(slice(header, 416, 12), words({60, 1, 2}));
    EXPECT_EQ(chunk(), frame_body({packet_record(102, true, 0, 0, join({kSequence, intra()}))}));
    expect_frame(48, 1, 0, frame_body({packet_record(102, true, 1, 45000, predicted())}));
    expect_frame(56, 1, 2, frame_body({packet_record(102, true, 2, 90000, with_own)}));
    expect_frame(56, 1, 2,
                 frame_body({packet_record(102, true, 3, 135000, join({kOtherSequence, intra()}))}));
    expect_frame(44, 1, 0, frame_body({packet_record(102, true, 4, 180000, Bytes{0, 0, 1, 0xB6})}));
    EXPECT_EQ(player->read().status, 1);
}

TEST_P(CutVideo, Mpeg4FrameThatOutgrowsTheBufferIsStatus2) {
    open({video_track("mp4v", esds(kSequence),
                      {predicted(), join({intra(), run(64000 - 8 - 9)}), predicted()})});
    pass(2);
    chunk();
    expect_nothing(2);
    EXPECT_EQ(player->read_raw(), 0);
    EXPECT_EQ(player->buffer(12), join({words({4, 1}), Bytes(4, Player::kUntouched)})) << "no packets";
    EXPECT_EQ(player->read_raw(), 0);
    EXPECT_EQ(player->buffer(12), words({48, 1, 0}));
}

TEST_P(CutVideo, Mpeg4TakesAConfigurationAsLongAsASample) {
    const Bytes sequence = join({Bytes{0, 0, 1, 0xB0, 1}, run(30000)});
    open({video_track("mp4v", {}, {join({sequence, intra()}), intra(), intra()})});
    chunk();
    EXPECT_EQ(slice(chunk(), 44, 356), Bytes(356, 0)) << "the file has none";
    chunk();
    for (int i = 0; i < 2; ++i) {
        chunk();
        EXPECT_EQ(payload(), join({sequence, intra()}));
    }
}

TEST_P(CutVideo, AnOverflowDeliversWhatWasWrittenAndZeros) {
    // Records of 1,420 bytes: 45 of them fit in 64,000.
    const Bytes large = run(64000);
    open({video_track("s263", d263(), {large, run(10)})});
    chunk();
    const Bytes header = chunk();
    EXPECT_EQ(slice(header, 68, 12), words({65556, 45, 1}));
    const Bytes body = chunk();
    ASSERT_EQ(body.size(), 8U + 65535U);
    Bytes written = body;
    written.resize(8 + 45 * 1420);
    const std::vector<Packet> packets = packets_of(written);
    ASSERT_EQ(packets.size(), 45U);
    EXPECT_EQ(packets[44].payload, join({Bytes{0, 0}, slice(large, 44 * 1398, 1398)}));
    EXPECT_EQ(slice(body, written.size(), body.size() - written.size()),
              Bytes(body.size() - written.size(), 0));
    expect_frame(52, 1, 0, frame_body({packet_record(34, true, 45, 45000, join({Bytes{0, 0}, run(10)}))}));
}

TEST_P(CutVideo, DataNotThereYetForTheFirstFrame) {
    const struct {
        TrackPlan track;
        int status;
        size_t header;
    } kCases[] = {{video_track("s263", d263(), {run(10)}), 2, 68},
                  {h264({nal(4, join({Bytes{0x41}, run(9)}))}), 2, 428},
                  {video_track("mp4v", esds(kSequence), {predicted()}), 0, 416}};
    for (const auto& [track, status, header] : kCases) {
        SCOPED_TRACE(header);
        open({track});
        chunk();
        fail_once();
        EXPECT_EQ(player->read_raw(), status);
        const Bytes record = status == 0 ? words({20, 0, 0}) : Bytes(12, Player::kUntouched);
        EXPECT_EQ(slice(player->buffer(header + 12), header, 12), record);
        EXPECT_EQ(slice(player->buffer(header), header - 12, 12), Bytes(12, 0xCC)) << "the header is whole";
        EXPECT_EQ(player->read_raw(), 0);
        EXPECT_EQ(player->buffer(9), join({words({4, 1}), Bytes{Player::kUntouched}})) << "an empty body";
        EXPECT_EQ(player->read_raw(), 0) << "the sample was not consumed";
        EXPECT_NE(word_at(player->buffer(12), 4), 0U);
    }
}

TEST_P(CutVideo, ATrackWithoutDurationHasNoRates) {
    TrackPlan track = video_track("s263", d263(), {run(10)});
    track.delta = 0;
    open({track});
    chunk();
    const Bytes header = chunk();
    EXPECT_EQ(word_at(header, 28), 0U);
    EXPECT_EQ(word_at(header, 52), 0U);
}
