// What a frame says about itself: times, markers, sets, and the damage that ends a track.
#include "kit/track_times.h"
#include "tests/kit/kit_player.h"
#include "tests/session/stream_fixture.h"
#include "tests/support/movie_builder.h"

using namespace qlip_test;
using testing::ElementsAre;

namespace {

Bytes speech(unsigned int type, size_t bytes, unsigned char fill = 0x11) {
    Bytes frame(1 + bytes, fill);
    frame[0] = static_cast<unsigned char>(type << 3 | 4);
    return frame;
}
const Bytes kSpeech122 = speech(7, 31);
const Bytes kSilence = speech(8, 5);
const Bytes kNothing = speech(15, 0);

TrackPlan amr(std::vector<Bytes> samples) {
    return {.samples = std::move(samples), .sample_entry = samr_entry()};
}

Bytes nal(unsigned int header, size_t size) {
    Bytes unit(size, 0x5A);
    unit[0] = static_cast<unsigned char>(header);
    return unit;
}

// An H.264 sample: NAL units behind lengths of four bytes.
Bytes access_unit(std::initializer_list<Bytes> units) {
    ByteWriter out;
    for (const Bytes& unit : units)
        out.u32(static_cast<unsigned int>(unit.size())).raw(unit);
    return out;
}
const Bytes kIdr = nal(0x65, 40), kSlice = nal(0x41, 30);

Bytes movie(TrackPlan track) {
    return build_movie({.tracks = {std::move(track)}});
}

Bytes edit_list(std::initializer_list<std::pair<unsigned int, unsigned int>> rows) {
    ByteWriter out;
    out.u32(static_cast<unsigned int>(rows.size()));
    for (const auto& [duration, start] : rows)
        out.u32(duration).u32(start).u32(0x10000);
    return container("edts", {full_box("elst", out)});
}

template <class Get>
std::vector<int64_t> each(const std::vector<SentFrame>& frames, Get get) {
    std::vector<int64_t> out;
    for (const SentFrame& frame : frames)
        out.push_back(static_cast<int64_t>(get(frame.facts)));
    return out;
}

std::vector<int64_t> timestamps(const KitPlayer& player) {
    return each(player.frames, [](const qlip_frame& frame) { return frame.timestamp; });
}

std::vector<int> nal_types(const SentFrame& frame) {
    std::vector<int> out;
    for (const Bytes& payload : frame.payloads)
        out.push_back(payload[0] & 31);
    return out;
}

}  // namespace

// Decoding order I P B B; 90,000 / 1,000 is 90 ticks a millisecond.
TEST(KitTimes, ThatAreShownOutOfOrderCarryTheirPresentationTimesAndAreDueInDecodingOrder) {
    TrackPlan track = h264(std::vector<Bytes>(4, access_unit({kSlice})));
    track.delta = 100;
    track.ctts = {{1, 200}, {1, 400}, {2, 100}};
    track.sync = {1};
    track.extra_trak = edit_list({{240, 200}});
    const Bytes file = movie(track);
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    player.rest();
    EXPECT_THAT(timestamps(player), ElementsAre(18000, 45000, 27000, 36000));
    EXPECT_THAT(each(player.frames, [](const qlip_frame& f) { return f.presentation_time / 1000000; }),
                ElementsAre(0, 300, 100, 200));
    EXPECT_THAT(each(player.frames, [](const qlip_frame& f) { return f.time / 1000000; }),
                ElementsAre(-200, -100, 0, 100));
    EXPECT_THAT(each(player.frames, [](const qlip_frame& f) { return f.is_sync; }), ElementsAre(1, 0, 0, 0));
    EXPECT_EQ(qlip_stream_timestamp(player.stream, 300000000), 45000U);
}

// To the nearest tick, whatever the clocks and however late, up to the end of all time.
TEST(KitTimes, AreRoundedToTheNearestTickOfAnyClock) {
    __extension__ using Wide = __int128;
    for (const uint32_t from : {1U, 2U, 3U, 600U, 1001U, 15360U, 44100U, 90000U, 4294967291U}) {
        for (const uint32_t to : {8000U, 90000U, 1000000000U}) {
            const qlip::kit::TickScale scale(to, from);
            for (int64_t ticks = 1; ticks < INT64_MAX / 5; ticks = ticks * 3 + ticks % 7) {
                const int64_t scaled = scale.of(ticks);
                EXPECT_EQ(scale.of(-ticks), -scaled);
                if (scaled == qlip::kit::kEndOfTime) break;
                const Wide off = static_cast<Wide>(scaled) * from - static_cast<Wide>(ticks) * to;
                EXPECT_LE(2 * (off < 0 ? -off : off), from) << ticks << " of " << from << " to " << to;
            }
        }
    }
}

// Movie time scale 600: 300 units are half a second.
TEST(KitTimes, OfADelayedTrackBeginLaterThanThoseOfItsFile) {
    TrackPlan track = amr({kSpeech122, kSpeech122});
    track.extra_trak = edit_list({{300, 0xFFFFFFFF}, {30, 0}});
    const Bytes file = movie(track);
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_AUDIO), 0);
    player.rest();
    EXPECT_THAT(each(player.frames, [](const qlip_frame& f) { return f.time / 1000000; }),
                ElementsAre(500, 520));
    EXPECT_THAT(timestamps(player), ElementsAre(0, 160));
    EXPECT_EQ(qlip_stream_timestamp(player.stream, 500000000), 0U);
}

TEST(KitSpeech, MarksTheFirstFrameBehindSilenceAndLeavesOutWhatHoldsNothing) {
    const Bytes file = movie(amr({join({kSpeech122, kSpeech122, kNothing}), kSilence, kNothing, kSpeech122}));
    for (const bool keep : {false, true}) {
        qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
        options.keep_no_data = keep;
        KitPlayer player(file);
        ASSERT_EQ(player.open(QLIP_AUDIO, options), 0);
        player.rest();
        EXPECT_EQ(player.end, QLIP_END_OF_FILE);
        const auto marks = each(player.frames, [](const qlip_frame& f) { return f.marker; });
        if (keep) {
            EXPECT_THAT(marks, ElementsAre(1, 0, 0, 0, 0, 1));
        } else {
            EXPECT_THAT(marks, ElementsAre(1, 0, 0, 1));
            EXPECT_THAT(timestamps(player), ElementsAre(0, 160, 480, 800));
        }
        EXPECT_EQ(player.frames[0].payloads[0], join({{0x70}, kSpeech122}));
    }
}

// A gap in the time table is silence that was not stored; a table that runs slow does not make frames
// overlap.
TEST(KitSpeech, FollowsGapsOfTheTimeTableButNeverOverlaps) {
    TrackPlan track = amr(std::vector<Bytes>(5, kSpeech122));
    track.stts = {{1, 160}, {1, 800}, {1, 100}, {2, 160}};
    const Bytes file = movie(track);
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_AUDIO), 0);
    player.rest();
    EXPECT_THAT(timestamps(player), ElementsAre(0, 160, 960, 1120, 1280));
}

TEST(KitSpeech, SaysWhichSampleIsDamagedAndGoesOnBehindIt) {
    const Bytes file =
        movie(amr({kSpeech122, speech(9, 5), Bytes(kSpeech122.begin(), kSpeech122.end() - 1), kSpeech122}));
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_AUDIO), 0);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.read(), QLIP_CORRUPT_FILE);
    EXPECT_STREQ(qlip_stream_error(player.stream), "sample 2 is damaged: a frame of a reserved type");
    EXPECT_EQ(player.read(), QLIP_CORRUPT_FILE);
    EXPECT_STREQ(qlip_stream_error(player.stream), "sample 3 is damaged: a frame is cut short");
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.frames.back().facts.timestamp, 480U);
    EXPECT_EQ(player.read(), QLIP_END_OF_FILE);
}

TEST(KitH264, HasOneMarkerPerPictureAndSetsOnlyInFrontOfIt) {
    const Bytes large = nal(0x41, 3000);
    const Bytes file =
        movie(h264({access_unit({nal(0x09, 2), nal(0x06, 9), kIdr}), access_unit({large, kPps, kSlice})}));
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    player.rest();
    EXPECT_THAT(nal_types(player.frames[0]), ElementsAre(9, 7, 8, 6, 5));
    EXPECT_THAT(nal_types(player.frames[1]), ElementsAre(28, 28, 28, 1));
    EXPECT_EQ(player.end, QLIP_END_OF_FILE);
}

TEST(KitH264, TakesPicturesLargerThanASessionAndRefusesOnesWhoseLengthsLie) {
    Bytes lying = access_unit({kSlice});
    lying[3] = 200;
    const Bytes file = movie(h264({access_unit({nal(0x65, 200000)}), lying, access_unit({kSlice})}));
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.frames[0].facts.packet_count, 2U + 144U);  // 199,999 bytes in fragments of 1,398
    EXPECT_EQ(player.read(), QLIP_CORRUPT_FILE);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.frames[1].facts.timestamp, 90000U);
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.chunks = 1;
    qlip_stream_close(&player.stream);
    EXPECT_EQ(player.open(QLIP_VIDEO, options), QLIP_NOT_SUPPORTED);
}

// The hints cut a picture of two slices after its first one, and send the third without a marker.
TEST(KitHints, FrameEndsAtTheMarkerOrWhereTheTimeChanges) {
    const Bytes slices = join({kIdr, kSlice});
    TrackPlan media = h264({slices, slices, kSlice});
    const auto part = [&](unsigned int sequence, bool marker, unsigned int sample, const Bytes& unit,
                          size_t at) {
        return cite(sequence, marker, sample, static_cast<unsigned int>(unit.size()),
                    static_cast<unsigned int>(at));
    };
    media.sync = {1, 2};
    const Bytes file = build_movie(
        {.tracks = {
             media,
             hint_track({hint_sample({part(7, false, 1, kIdr, 0), part(9, true, 1, kSlice, kIdr.size())}),
                         hint_sample({part(9, false, 2, kIdr, 0), part(9, false, 2, kSlice, kIdr.size())}),
                         hint_sample({part(1, false, 3, kSlice, 0)})})}});
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    EXPECT_TRUE(qlip_stream_get_info(player.stream)->hinted);
    player.rest();
    EXPECT_EQ(player.end, QLIP_END_OF_FILE);
    ASSERT_EQ(player.frames.size(), 3U);
    EXPECT_THAT(nal_types(player.frames[0]), ElementsAre(7, 8, 5, 1));
    EXPECT_THAT(nal_types(player.frames[1]), ElementsAre(7, 8, 5, 1));
    EXPECT_THAT(nal_types(player.frames[2]), ElementsAre(1));
    EXPECT_THAT(timestamps(player), ElementsAre(0, 45000, 90000));
    int64_t landed = 0;
    EXPECT_EQ(qlip_stream_seek(player.stream, 600000000, &landed), 0);
    EXPECT_EQ(landed, 500000000);
    EXPECT_EQ(player.read(), 0);
    EXPECT_THAT(nal_types(player.frames.back()), ElementsAre(7, 8, 5, 1));
}

TEST(KitHints, ThatAskForTooMuchEndInDamageAndOneThatCannotBeServedIsPassedOver) {
    const TrackPlan media = h264({nal(0x41, 30)});
    const Bytes whole = hint_sample({cite(1, true, 1, 30)});
    const Bytes beyond = hint_sample({cite(1, true, 1, 31)});
    const Bytes file = build_movie({.tracks = {media, hint_track({whole, beyond, whole})}});
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.read(), QLIP_CORRUPT_FILE);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.read(), QLIP_END_OF_FILE);

    HintPacket greedy = cite(1, true, 1, 30000);
    greedy.constructors.assign(2, greedy.constructors[0]);
    const Bytes bomb = build_movie(
        {.tracks = {h264({nal(0x41, 30000)}), hint_track(std::vector<Bytes>(100, hint_sample({greedy})))}});
    KitPlayer bombed(bomb);
    ASSERT_EQ(bombed.open(QLIP_VIDEO), 0);
    bombed.rest();
    EXPECT_EQ(bombed.end, QLIP_CORRUPT_FILE);
    EXPECT_LE(bombed.frames.size(), (4 * bomb.size() + 65536) / 60012 + 1);
}

// A file is cut, or its tables lie: what can be believed is delivered, and the end is never clean.
TEST(KitDamage, NeverEndsCleanlyAndNeverMakesFramesUp) {
    TrackPlan honest = amr(std::vector<Bytes>(10, kSpeech122));
    honest.constant_size = true;
    honest.samples_per_chunk = 10;
    const Bytes file = build_movie({.tracks = {honest}, .moov_first = true});
    const auto word = [&](std::string_view box_name, size_t offset, unsigned int value) {
        Bytes changed = file;
        const auto at = std::search(changed.begin(), changed.end(), box_name.begin(), box_name.end());
        const Bytes bytes = ByteWriter().u32(value);
        std::copy(bytes.begin(), bytes.end(), at + 4 + static_cast<long>(offset));
        return changed;
    };
    struct Case {
        const char* what;
        Bytes file;
        int opened;
        size_t frames;
    };
    Bytes claims = word("stsz", 8, 0x7FFFFFFF);
    for (const auto& [name, at] : {std::pair{"stts", 8}, {"stsc", 12}}) {
        const std::string_view text = name;
        const auto found = std::search(claims.begin(), claims.end(), text.begin(), text.end());
        const Bytes bytes = ByteWriter().u32(0x7FFFFFFF);
        std::copy(bytes.begin(), bytes.end(), found + 4 + at);
    }
    const Case cases[] = {
        {"2^31 samples in every table", claims, QLIP_CORRUPT_FILE, 0},
        {"more samples than the time table has", word("stsz", 8, 11), QLIP_CORRUPT_FILE, 0},
        {"fewer samples than the time table has", word("stsz", 8, 9), QLIP_CORRUPT_FILE, 0},
        {"a chunk behind the end", word("stco", 8, static_cast<unsigned int>(file.size()) - 96), 0, 3},
        {"no time scale", word("mdhd", 12, 0), QLIP_CORRUPT_FILE, 0},
        {"places of 64 bits", word("stco", -4, 0x636F3634), QLIP_CORRUPT_FILE, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        KitPlayer player(one.file);
        const int opened = player.open(QLIP_AUDIO);
        EXPECT_EQ(opened, one.opened) << player.open_error;
        if (opened != 0) continue;
        player.rest();
        EXPECT_EQ(player.frames.size(), one.frames);
        EXPECT_EQ(player.end, QLIP_CORRUPT_FILE) << qlip_stream_error(player.stream);
    }
}

// 50 chunks that all hold the same sample.
TEST(KitDamage, SharesNoByteOutTwice) {
    Bytes file = build_movie({.tracks = {amr(std::vector<Bytes>(50, kSpeech122))}, .moov_first = true});
    const std::string_view stco = "stco";
    auto at = std::search(file.begin(), file.end(), stco.begin(), stco.end()) + 12;
    const Bytes first(at, at + 4);
    for (int i = 0; i < 50; ++i, at += 4)
        std::copy(first.begin(), first.end(), at);
    file.resize(file.size() - 49 * kSpeech122.size());
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_AUDIO), 0);
    player.rest();
    EXPECT_EQ(player.end, QLIP_CORRUPT_FILE);
    EXPECT_EQ(player.frames.size(), file.size() / kSpeech122.size());
}
