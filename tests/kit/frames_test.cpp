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

Bytes nal(unsigned int header, size_t size) {
    Bytes unit(size, 0x5A);
    unit[0] = static_cast<unsigned char>(header);
    return unit;
}

// An H.264 sample: NAL units behind lengths of four bytes.
Bytes access_unit(const std::vector<Bytes>& units) {
    ByteWriter out;
    for (const Bytes& unit : units)
        out.u32(static_cast<unsigned int>(unit.size())).raw(unit);
    return out;
}
const Bytes kIdr = nal(0x65, 40), kSlice = nal(0x41, 30);

Bytes movie(TrackPlan track) {
    return build_movie({.tracks = {std::move(track)}});
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
    track.extra_trak = edts({{240, 200}});
    KitPlayer player(movie(track));
    player.play(QLIP_VIDEO);
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

// Sync samples that do not rise, or that are not there, are passed over; samples without a duration are not
// told apart.
TEST(KitTimes, OfASeekLeadToTheSyncSampleBeforeHoweverOddTheTables) {
    struct Case {
        std::vector<unsigned int> sync;
        std::vector<std::pair<unsigned int, unsigned int>> times;  // of five samples
        Bytes edits;
        int64_t landed;  // of a seek to 2.9 s, in milliseconds
    };
    for (const auto& [sync, times, edits, landed] :
         {Case{{1, 3, 2, 9}, {{5, 1000}}, {}, 2000},
          {{9}, {{5, 1000}}, {}, 0},
          {{}, {{5, 0}}, {}, 0},
          {{}, {{2, 400}, {7, 400}}, {}, 1600},
          {{1, 3}, {{5, 1000}}, edts({{600, kEmptyEdit}}), 1000}}) {
        TrackPlan track = h264(std::vector<Bytes>(5, access_unit({kSlice})));
        track.sync = sync;
        track.stts = times;
        track.extra_trak = edits;
        KitPlayer player(movie(track));
        int64_t at = -1;
        EXPECT_EQ(qlip_source_sync_before(player.source, 2900000000, &at), 0);
        EXPECT_EQ(at, landed * 1000000);
    }
}

// Movie time scale 600: 300 units are half a second.
TEST(KitTimes, OfADelayedTrackBeginLaterThanThoseOfItsFile) {
    TrackPlan track = speech_track({kSpeech122, kSpeech122});
    track.extra_trak = edts({{300, kEmptyEdit}, {30, 0}});
    KitPlayer player(movie(track));
    player.play(QLIP_AUDIO);
    EXPECT_THAT(each(player.frames, [](const qlip_frame& f) { return f.time / 1000000; }),
                ElementsAre(500, 520));
    EXPECT_THAT(timestamps(player), ElementsAre(0, 160));
    EXPECT_EQ(qlip_stream_timestamp(player.stream, 500000000), 0U);
}

TEST(KitSpeech, MarksTheFirstFrameBehindSilenceAndLeavesOutWhatHoldsNothing) {
    const Bytes file =
        movie(speech_track({join({kSpeech122, kSpeech122, kNothing}), kSilence, kNothing, kSpeech122}));
    for (const bool keep : {false, true}) {
        qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
        options.keep_no_data = keep;
        KitPlayer player(file);
        player.play(QLIP_AUDIO, options);
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
    TrackPlan track = speech_track(std::vector<Bytes>(5, kSpeech122));
    track.stts = {{1, 160}, {1, 800}, {1, 100}, {2, 160}};
    KitPlayer player(movie(track));
    player.play(QLIP_AUDIO);
    EXPECT_THAT(timestamps(player), ElementsAre(0, 160, 960, 1120, 1280));
}

TEST(KitSpeech, SaysWhichSampleIsDamagedAndGoesOnBehindIt) {
    KitPlayer player(movie(speech_track(
        {kSpeech122, speech(9, 5), Bytes(kSpeech122.begin(), kSpeech122.end() - 1), kSpeech122})));
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
    KitPlayer player(
        movie(h264({access_unit({nal(0x09, 2), nal(0x06, 9), kIdr}), access_unit({large, kPps, kSlice})})));
    player.play(QLIP_VIDEO);
    EXPECT_THAT(nal_types(player.frames[0]), ElementsAre(9, 7, 8, 6, 5));
    EXPECT_THAT(nal_types(player.frames[1]), ElementsAre(28, 28, 28, 1));
    EXPECT_EQ(player.end, QLIP_END_OF_FILE);
}

TEST(KitH264, TakesPicturesLargerThanASessionAndRefusesOnesWhoseLengthsLie) {
    Bytes lying = access_unit({kSlice});
    lying[3] = 200;
    KitPlayer player(movie(h264({access_unit({nal(0x65, 200000)}), lying, access_unit({kSlice})})));
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.frames[0].facts.packet_count, 2U + 144U);  // 199,999 bytes in fragments of 1,398
    EXPECT_EQ(player.read(), QLIP_CORRUPT_FILE);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.frames[1].facts.timestamp, 90000U);
    qlip_stream_close(&player.stream);
    EXPECT_EQ(player.open(QLIP_VIDEO, kInChunks), QLIP_NOT_SUPPORTED);

    Bytes huge = movie(h264({access_unit({kSlice})}));
    set_u32(huge, find_box(huge, "stsz") + 16, (1U << 24) + 1);
    KitPlayer growing(huge, huge.size());
    ASSERT_EQ(growing.open(QLIP_VIDEO), 0) << growing.open_error;
    EXPECT_EQ(growing.read(), QLIP_NOT_SUPPORTED);
    EXPECT_EQ(growing.read(), QLIP_END_OF_FILE);
    KitPlayer crowded(movie(h264(
        {access_unit({kSlice, Bytes(20000, 0x41)}), access_unit(std::vector<Bytes>(5000, nal(0x41, 1)))})));
    ASSERT_EQ(crowded.open(QLIP_VIDEO), 0);
    EXPECT_EQ(crowded.read(), 0);
    EXPECT_EQ(crowded.read(), QLIP_NOT_SUPPORTED);
}

// What a picture brings itself stays in force, if there is room for it.
TEST(KitMpeg4, HasTheLatestConfigurationInFrontOfIntraPictures) {
    const Bytes stored = hex("000001B001 000001B5"), own = hex("000001B002 00010201 000001B5");
    const Bytes large = join({hex("000001B003"), Bytes(400, 3)});
    const Bytes intra = hex("000001B6 10 02"), inter = hex("000001B6 50 02"), none = hex("0302030102010203");
    const Bytes start_alone = hex("000001B6");
    for (const Bytes& configuration : {stored, Bytes{}}) {
        KitPlayer player(movie(video_track(
            "mp4v", esds(configuration),
            {intra, inter, none, start_alone, join({own, intra}), intra, join({large, intra}), intra})));
        EXPECT_THAT(payloads_of(player.play(QLIP_VIDEO)),
                    ElementsAre(join({configuration, intra}), inter, none, start_alone, join({own, intra}),
                                join({own, intra}), join({large, intra}), join({own, intra})));
    }
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
    KitPlayer player(build_movie(
        {.tracks = {
             media,
             hint_track({hint_sample({part(7, false, 1, kIdr, 0), part(9, true, 1, kSlice, kIdr.size())}),
                         hint_sample({part(9, false, 2, kIdr, 0), part(9, false, 2, kSlice, kIdr.size())}),
                         hint_sample({part(1, false, 3, kSlice, 0)})})}}));
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
    KitPlayer player(build_movie({.tracks = {media, hint_track({whole, beyond, whole})}}));
    ASSERT_EQ(player.open(QLIP_VIDEO), 0);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.read(), QLIP_CORRUPT_FILE);
    EXPECT_EQ(player.read(), 0);
    EXPECT_EQ(player.read(), QLIP_END_OF_FILE);

    HintPacket greedy = cite(1, true, 1, 30000);
    greedy.constructors.assign(2, greedy.constructors[0]);
    HintPacket endless = greedy;
    endless.marker = false;
    KitPlayer large(
        build_movie({.tracks = {h264({nal(0x41, 30000)}),
                                hint_track({hint_sample(std::vector<HintPacket>(4, endless))})}}));
    ASSERT_EQ(large.open(QLIP_VIDEO), 0);
    EXPECT_EQ(large.read(), QLIP_NOT_SUPPORTED);
    EXPECT_EQ(large.read(), QLIP_END_OF_FILE);

    const Bytes bomb = build_movie(
        {.tracks = {h264({nal(0x41, 30000)}), hint_track(std::vector<Bytes>(100, hint_sample({greedy})))}});
    KitPlayer bombed(bomb);
    bombed.play(QLIP_VIDEO);
    EXPECT_EQ(bombed.end, QLIP_CORRUPT_FILE);
    EXPECT_LE(bombed.frames.size(), (4 * bomb.size() + 65536) / 60012 + 1);
}

// Without a packet size, or a time scale, they cannot be followed.
TEST(KitHints, AreLeftAloneWhereTheyCannotBeFollowedAndTheMediaIsSent) {
    TrackPlan no_size = hint_track({hint_sample({})}, 0), no_clock = hint_track({hint_sample({})});
    no_clock.timescale = 0;
    for (const TrackPlan& hint : {no_size, no_clock}) {
        KitPlayer player(build_movie({.tracks = {h264({access_unit({kIdr})}), hint}}));
        ASSERT_EQ(player.open(QLIP_VIDEO), 0);
        EXPECT_FALSE(qlip_stream_get_info(player.stream)->hinted);
        EXPECT_THAT(nal_types(player.rest().at(0)), ElementsAre(7, 8, 5));
    }
}

// Sets of its own keep those of the track out, and packets without payload are not sent.
TEST(KitHints, FrameMayBringItsOwnSetsAndH263SaysItsFormatInTheFirstPacket) {
    const HintPacket nothing{.sequence = 1, .constructors = {hint_no_data()}};
    KitPlayer player(build_movie(
        {.tracks = {h264({join({kSps, kIdr})}),
                    hint_track({hint_sample({nothing, cite(2, false, 1, 5), cite(3, true, 1, 40, 5)})})}}));
    EXPECT_THAT(nal_types(player.play(QLIP_VIDEO).at(0)), ElementsAre(7, 5));

    const Bytes h263 =
        build_movie({.tracks = {video_track("s263", d263(), {Bytes(30, 1)}),
                                hint_track({Bytes(10), hint_sample({cite(1, true, 1, 30, 0, 34)})})},
                     .moov_first = true});
    KitPlayer growing(h263, find_box(h263, "mdat") + 4);
    EXPECT_EQ(growing.open(QLIP_VIDEO), QLIP_NOT_AVAILABLE_YET);
    EXPECT_EQ(qlip_source_set_size(growing.source, h263.size()), 0);
    ASSERT_EQ(growing.open(QLIP_VIDEO), 0);
    EXPECT_STREQ(qlip_stream_get_info(growing.stream)->encoding_name, "H263");
}

// A file is cut, or its tables lie: what can be believed is delivered, and the end is never clean.
TEST(KitDamage, NeverEndsCleanlyAndNeverMakesFramesUp) {
    TrackPlan honest = speech_track(std::vector<Bytes>(10, kSpeech122));
    honest.constant_size = true;
    honest.samples_per_chunk = 10;
    const Bytes file = build_movie({.tracks = {honest}, .moov_first = true});
    const auto word = [&](std::string_view box_name, size_t offset, unsigned int value) {
        Bytes changed = file;
        set_u32(changed, find_box(file, box_name) + 4 + offset, value);
        return changed;
    };
    struct Case {
        const char* what;
        Bytes file;
        int opened;
        size_t frames, chunks;
    };
    Bytes claims = word("stsz", 8, 0x7FFFFFFF);
    for (const auto& [name, at] : {std::pair{"stts", 8U}, {"stsc", 12U}})
        set_u32(claims, find_box(file, name) + 4 + at, 0x7FFFFFFF);
    const Case cases[] = {
        {"2^31 samples in every table", claims, QLIP_CORRUPT_FILE, 0, 0},
        {"more samples than the time table has", word("stsz", 8, 11), QLIP_CORRUPT_FILE, 0, 0},
        {"fewer samples than the time table has", word("stsz", 8, 9), QLIP_CORRUPT_FILE, 0, 0},
        {"a chunk behind the end", word("stco", 8, static_cast<unsigned int>(file.size()) - 96), 0, 3,
         4 + 2 * 3},
        {"no time scale", word("mdhd", 12, 0), QLIP_CORRUPT_FILE, 0, 0},
        {"places of 64 bits", word("stco", -4, 0x636F3634), QLIP_CORRUPT_FILE, 0, 0},
        {"frames larger than their samples", word("stsz", 4, 5), 0, 0, 4 + 5},
        {"a first box of 4 bytes", word("ftyp", -8, 4), QLIP_CORRUPT_FILE, 0, 0},
        {"a first box beyond 4 GiB", word("ftyp", -8, 1), QLIP_CORRUPT_FILE, 0, 0},
        {"a structure without a size", word("moov", -8, 0), QLIP_CORRUPT_FILE, 0, 0},
        {"a structure beyond 4 GiB", word("moov", -8, 0xFFFFFFF0), QLIP_CORRUPT_FILE, 0, 0},
        {"a box in it of 4 bytes", word("mvhd", -8, 4), QLIP_CORRUPT_FILE, 0, 0},
        {"a box in it that is longer", word("mvhd", -8, 0x7000), QLIP_CORRUPT_FILE, 0, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.what);
        for (const bool in_chunks : {false, true}) {
            KitPlayer player(one.file);
            const int opened = in_chunks ? player.open(QLIP_AUDIO, kInChunks) : player.open(QLIP_AUDIO);
            EXPECT_EQ(opened, one.opened) << player.open_error;
            if (opened != 0) continue;
            EXPECT_EQ(in_chunks ? player.rest_in_chunks().size() : player.rest().size(),
                      in_chunks ? one.chunks : one.frames);
            EXPECT_EQ(player.end, QLIP_CORRUPT_FILE) << qlip_stream_error(player.stream);
        }
    }
}

// A thousand chunks that all hold the same ten samples.
TEST(KitDamage, SharesNoByteOutTwice) {
    constexpr size_t kChunks = 1000;
    TrackPlan track = speech_track(std::vector<Bytes>(10 * kChunks, kSpeech122));
    track.samples_per_chunk = 10;
    track.constant_size = true;
    Bytes file = build_movie({.tracks = {track}, .moov_first = true});
    const size_t stco = find_box(file, "stco") + 12;
    for (size_t i = 1; i < kChunks; ++i)
        std::copy_n(file.begin() + static_cast<long>(stco), 4,
                    file.begin() + static_cast<long>(stco + 4 * i));
    file.resize(file.size() - 10 * (kChunks - 1) * kSpeech122.size());
    KitPlayer chunks(file);
    ASSERT_EQ(chunks.open(QLIP_AUDIO, kInChunks), 0);
    EXPECT_LT(chunks.rest_in_chunks().size() * (24 + kSpeech122.size() + 1) / 2,
              64 * file.size() + 4096 + 100);
    EXPECT_EQ(chunks.end, QLIP_CORRUPT_FILE);
    KitPlayer player(file);
    player.play(QLIP_AUDIO);
    EXPECT_EQ(player.end, QLIP_CORRUPT_FILE);
    EXPECT_EQ(player.frames.size(), file.size() / kSpeech122.size());
}
