// Sources, threads, descriptions, and hosts that use the kit wrongly.
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <thread>

#include "tests/iso/opened_file.h"
#include "tests/kit/kit_player.h"
#include "tests/session/stream_fixture.h"
#include "tests/support/limited_host.h"
#include "tests/support/movie_builder.h"
#include "tests/support/samples.h"
#include "tests/support/syslog_capture.h"

using namespace qlip_test;
using testing::HasSubstr;

namespace {

std::string path_of(const std::string& name) {
    return std::string(QLIP_SAMPLES "/") + name;
}

// A host's own file, with knobs.
struct CustomFile {
    Bytes bytes = sample("amrnb.3gp");
    std::atomic<int64_t> answer{0};  // what every read answers but for the first ones, unless it is 0
    int good_reads = 0;
    int released = 0;

    static int64_t read_at(void* user, void* to, size_t size, uint64_t offset) {
        auto& file = *static_cast<CustomFile*>(user);
        if (file.answer != 0 && file.good_reads-- <= 0) return file.answer;
        const uint64_t there = file.bytes.size();
        const size_t count = offset < there ? std::min<uint64_t>(size, there - offset) : 0;
        if (count > 0) std::memcpy(to, file.bytes.data() + offset, count);
        return static_cast<int64_t>(count);
    }
    static uint64_t size(void* user) { return static_cast<CustomFile*>(user)->bytes.size(); }
    static void release(void* user) { ++static_cast<CustomFile*>(user)->released; }

    qlip_source* open() {
        const qlip_source_functions functions = {sizeof functions, read_at, size, release};
        qlip_source* source = nullptr;
        EXPECT_EQ(qlip_source_custom(&source, &functions, this), 0);
        return source;
    }
};

int count_frames(qlip_source* source, qlip_medium medium) {
    qlip_stream* stream = nullptr;
    if (qlip_stream_open(&stream, source, medium, nullptr) != 0) return -1;
    int count = 0;
    for (const qlip_frame* frame = nullptr; qlip_stream_read(stream, &frame) == 0;)
        ++count;
    qlip_stream_close(&stream);
    return count;
}

template <class Describe>
std::string described(Describe describe) {
    std::string text(static_cast<size_t>(describe(nullptr, 0)) + 1, '?');
    EXPECT_EQ(describe(text.data(), text.size()), static_cast<int>(text.size()) - 1);
    EXPECT_EQ(text.back(), '\0');
    text.pop_back();
    return text;
}

std::string sdp_of(const char* name, qlip_medium medium) {
    KitPlayer player(sample(name));
    EXPECT_EQ(player.open(medium), 0);
    return described(
        [&](char* to, size_t size) { return qlip_stream_sdp(player.stream, 0, "t=1", to, size); });
}

}  // namespace

TEST(KitSource, OfAFileNoticesThatItShrankGrewOrWasClosed) {
    qlip_source *by_path = nullptr, *by_fd = nullptr;
    const int changing = memfd_create("film", 0);
    const Bytes film = sample("amrnb_dtx_faststart.3gp");
    ASSERT_EQ(write(changing, film.data(), film.size()), static_cast<ssize_t>(film.size()));
    ASSERT_EQ(qlip_source_fd(&by_fd, changing), 0);
    qlip_stream* stream = nullptr;
    const qlip_frame* frame = nullptr;
    ASSERT_EQ(qlip_stream_open(&stream, by_fd, QLIP_AUDIO, nullptr), 0);
    EXPECT_EQ(ftruncate(changing, 610), 0);
    EXPECT_EQ(qlip_stream_read(stream, &frame), QLIP_CORRUPT_FILE);
    EXPECT_EQ(qlip_source_set_size(by_fd, 700), QLIP_NOT_SUPPORTED);
    EXPECT_EQ(ftruncate(changing, int64_t{1} << 32), 0);
    EXPECT_EQ(qlip_source_fd(&by_path, changing), QLIP_NOT_SUPPORTED);
    EXPECT_EQ(close(changing), 0);
    EXPECT_EQ(qlip_stream_read(stream, &frame), QLIP_IO_CALLBACK_FAILED);
    qlip_stream_close(&stream);
    qlip_source_close(&by_fd);
    EXPECT_EQ(qlip_source_path(&by_path, "/nowhere"), QLIP_NO_SUCH_FILE);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(qlip_source_path(&by_path, "/dev/null"), QLIP_NOT_SUPPORTED);
}

TEST(KitSource, OfAHostCanWaitAndFailInAnyCallAndIsReleasedWithItsLastStream) {
    CustomFile file;
    qlip_source* source = file.open();
    qlip_stream* stream = nullptr;
    qlip_stream* chunks = nullptr;
    const qlip_frame* frame = nullptr;
    const void* chunk = nullptr;
    size_t size = 0;
    int64_t sync = 0;
    qlip_source_info info = QLIP_SOURCE_INFO_INIT;
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    const std::function<int()> calls[] = {
        [&] { return qlip_source_state(source, &info); },
        [&] { return qlip_source_track(source, 0, &track); },
        [&] { return qlip_source_sync_before(source, 0, &sync); },
        [&] { return qlip_stream_close(&stream) + qlip_stream_open(&stream, source, QLIP_AUDIO, nullptr); },
        [&] { return qlip_stream_read(stream, &frame); },
        [&] {
            return qlip_stream_close(&chunks) + qlip_stream_open(&chunks, source, QLIP_AUDIO, &kInChunks);
        },
        [&] { return qlip_stream_read_chunk(chunks, &chunk, &size); },
    };
    for (const auto& call : calls) {
        for (const auto& [answer, status] : {std::pair{int64_t{QLIP_READ_WAIT}, int{QLIP_NOT_AVAILABLE_YET}},
                                             {QLIP_READ_FAILED, QLIP_IO_CALLBACK_FAILED},
                                             {int64_t{1} << 40, QLIP_IO_CALLBACK_FAILED}}) {
            file.answer = answer;
            int got = -1;
            for (int good = 0; got != 0 && good < 1000; ++good) {
                file.good_reads = good;
                got = call();
                EXPECT_TRUE(got == 0 || got == status)
                    << got << " at read " << good << " of call " << &call - calls;
            }
            EXPECT_EQ(got, 0);
        }
    }
    qlip_stream_close(&chunks);
    qlip_stream_close(&stream);
    file.answer = 0;
    ASSERT_EQ(qlip_stream_open(&stream, source, QLIP_AUDIO, nullptr), 0);
    EXPECT_EQ(qlip_stream_read(stream, &frame), 0);
    EXPECT_EQ(frame->time, -6250000);
    EXPECT_EQ(qlip_source_close(&source), 0);
    EXPECT_EQ(source, nullptr);
    EXPECT_EQ(qlip_stream_read(stream, &frame), 0);
    EXPECT_EQ(file.released, 0);
    qlip_stream_close(&stream);
    EXPECT_EQ(file.released, 1);
}

TEST(KitSource, TellsWhatAGrowingFileStillNeeds) {
    const Bytes behind = sample("amrnb.3gp"), in_front = sample("amrnb_dtx_faststart.3gp");
    const Bytes wide = join({hex("00000001"), ByteWriter().text("mdat"), hex("0000000000000014"), Bytes(20)});
    struct Case {
        const Bytes& file;
        size_t arrived;
        bool growing;
        qlip_structure structure;
        uint64_t needed;
    };
    const Case cases[] = {
        {behind, 0, true, QLIP_STRUCTURE_NOT_YET, 8},
        {behind, 100, true, QLIP_STRUCTURE_NOT_YET, 4876 + 8},
        {behind, 4884, true, QLIP_STRUCTURE_NOT_YET, 5450},
        {behind, 5449, false, QLIP_STRUCTURE_DAMAGED, 5450},
        {behind, 5450, true, QLIP_STRUCTURE_WHOLE, 5450},
        {in_front, 28 + 574, true, QLIP_STRUCTURE_WHOLE, 2581},
        {in_front, 2581, false, QLIP_STRUCTURE_WHOLE, 2581},
        {in_front, 700, false, QLIP_STRUCTURE_WHOLE, 2581},
        {wide, 8, true, QLIP_STRUCTURE_NOT_YET, 16},
        {wide, 17, true, QLIP_STRUCTURE_NOT_YET, 20 + 8},
    };
    for (const Case& one : cases) {
        KitPlayer player(one.file, one.arrived);
        qlip_source_set_growing(player.source, one.growing);
        qlip_source_info info = QLIP_SOURCE_INFO_INIT;
        ASSERT_EQ(qlip_source_state(player.source, &info), 0);
        EXPECT_EQ(info.structure, one.structure) << one.arrived;
        EXPECT_EQ(info.needed, one.needed) << one.arrived;
        EXPECT_EQ(info.size, one.arrived);
        EXPECT_EQ(info.complete, info.structure == QLIP_STRUCTURE_WHOLE && one.needed <= one.arrived);
        EXPECT_EQ(info.structure_first, &one.file == &in_front && info.structure_size != 0);
    }
}

TEST(KitSource, WaitsForBytesTheEndOrTheTime) {
    const Bytes file = sample("amrnb.3gp");
    KitPlayer player(file, 100);
    EXPECT_EQ(qlip_source_wait(player.source, 100, -1), 0);
    for (const int64_t timeout : {0, 1000000})
        EXPECT_EQ(qlip_source_wait(player.source, 101, timeout), QLIP_NOT_AVAILABLE_YET);
    std::thread writer([&] { qlip_source_set_size(player.source, 200); });
    EXPECT_EQ(qlip_source_wait(player.source, 200, -1), 0);
    writer.join();
    std::thread finisher([&] { qlip_source_set_growing(player.source, 0); });
    EXPECT_EQ(qlip_source_wait(player.source, 201, -1), QLIP_CORRUPT_FILE);
    finisher.join();
}

// Sound and picture lie interleaved. What is released is what the slower of the two has passed.
TEST(KitSource, TellsWhichBytesAllItsStreamsAreDoneWith) {
    KitPlayer video(
        build_movie({.tracks = {video_track("s263", d263(), std::vector<Bytes>(100, Bytes(10000, 0x77))),
                                speech_track(std::vector<Bytes>(100, Bytes(32, 0x3C)))},
                     .moov_first = true}));
    std::vector<uint64_t> told;
    qlip_source_set_advanced(
        video.source,
        [](void* user, uint64_t offset) { static_cast<std::vector<uint64_t>*>(user)->push_back(offset); },
        &told);
    ASSERT_EQ(video.open(QLIP_VIDEO), 0);
    qlip_stream* audio = nullptr;
    ASSERT_EQ(qlip_stream_open(&audio, video.source, QLIP_AUDIO, nullptr), 0);
    video.rest();
    EXPECT_TRUE(told.empty());
    const qlip_frame* frame = nullptr;
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(qlip_stream_read(audio, &frame), 0);
    ASSERT_FALSE(told.empty());
    EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
    EXPECT_GT(told.back(), 50U * 10000 - 65536);
    EXPECT_LT(told.back(), 52U * 10000);
    qlip_stream_close(&audio);
}

TEST(KitThreads, ShareOneSource) {
    qlip_source* source = nullptr;
    ASSERT_EQ(qlip_source_path(&source, path_of("av_h263_amrnb_hinted.3gp").c_str()), 0);
    std::vector<std::thread> threads;
    std::atomic<int> frames{0};
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&, i] {
            for (int turn = 0; turn < 5; ++turn)
                frames += count_frames(source, i % 2 == 0 ? QLIP_AUDIO : QLIP_VIDEO);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(frames, 4 * 5 * (151 + 45));
    qlip_source_close(&source);
}

// Nobody hears a line who has not asked; who has hears it instead of the terminal and the system log.
TEST(KitLimits, TakeTheLinesOfADamagedFileAndRefuseALargeOne) {
    KitPlayer odd(moov_file({stbl_trak({full_box("sgpd", ByteWriter().text("else"))})}));
    KitPlayer whole(sample("amrnb.3gp"));
    KeptLines limits;
    limits.samples = 150;
    testing::internal::CaptureStdout();
    odd.open(QLIP_AUDIO);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(qlip_source_set_limits(odd.source, &limits), 0);
    odd.open(QLIP_AUDIO);
    EXPECT_EQ(limits.kept.size(), 1U);
    EXPECT_EQ(qlip_source_set_limits(whole.source, &limits), 0);
    EXPECT_EQ(whole.open(QLIP_AUDIO), QLIP_CORRUPT_FILE);
    EXPECT_EQ(whole.open_error, "the structure passes a limit");
    EXPECT_TRUE(syslog_lines().empty());
}

// Looking for tracks is no error worth a line.
TEST(KitTracks, AreOpenedByTheirNumbers) {
    KitPlayer player(sample("mpeg4_with_aac.3gp"));
    EXPECT_EQ(player.open(QLIP_AUDIO), QLIP_UNKNOWN_CODER);
    EXPECT_EQ(player.open_error, "the audio track: AAC is not supported");
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.track_id = 9;
    EXPECT_EQ(player.open(QLIP_VIDEO, options), QLIP_NO_SUCH_TRACK);
    EXPECT_EQ(player.open_error, "the file has no video track 9");
    options.track_id = 1;
    EXPECT_EQ(player.open(QLIP_VIDEO, options), 0);
    EXPECT_TRUE(syslog_lines().empty());
}

// Hint tracks are not listed, whatever they are made of.
TEST(KitTracks, AreListedWithTheReasonWhyOneIsNotDelivered) {
    TrackPlan text{.handler = "text", .sample_entry = box("tx3g", Bytes(8))};
    TrackPlan film{.handler = "vide",
                   .timescale = 0,
                   .samples = {{1}},
                   .sample_entry = visual_entry("s263", 176, 144, d263())};
    TrackPlan hint{.handler = "hint", .sample_entry = box("else", Bytes(8))};
    TrackPlan secret{.handler = "text", .sample_entry = box("srtp", Bytes(8))};
    TrackPlan sound{.handler = "soun", .sample_entry = box("else", Bytes(8))}, aac = sound;
    aac.sample_entry = box("mp4a", Bytes(28));
    KitPlayer player(build_movie({.tracks = {text, hint, secret, film, sound, aac, h264({{0}, {0}})}}));
    const std::tuple<int, int, unsigned int, int, std::string> expected[] = {
        {QLIP_OTHER_MEDIUM, QLIP_OTHER_CODEC, 0, QLIP_UNKNOWN_CODER, "the codec is not supported"},
        {QLIP_VIDEO, QLIP_H263, 1, QLIP_CORRUPT_FILE,
         "the track has no time scale, or a 64-bit media header"},
        {QLIP_AUDIO, QLIP_OTHER_CODEC, 0, QLIP_UNKNOWN_CODER, "the codec is not supported"},
        {QLIP_AUDIO, QLIP_AAC, 0, QLIP_UNKNOWN_CODER, "AAC is not supported"},
        {QLIP_VIDEO, QLIP_H264, 2, 0, ""}};
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    for (unsigned int i = 0; i < 5; ++i) {
        ASSERT_EQ(qlip_source_track(player.source, i, &track), 0);
        EXPECT_EQ(std::tuple(int{track.medium}, int{track.codec}, track.sample_count, track.status,
                             std::string(track.reason)),
                  expected[i]);
    }
    EXPECT_EQ(qlip_source_track(player.source, 5, &track), QLIP_NO_SUCH_TRACK);
    int64_t sync = 0;
    EXPECT_EQ(qlip_source_sync_before(player.source, 1234, &sync), 0);
    EXPECT_EQ(sync, 1234);
}

TEST(KitTracks, OfMovieFragmentsAreRefusedInWords) {
    KitPlayer player(build_movie({.tracks = {}, .extra_moov = container("mvex", {full_box("trex", {})})}));
    EXPECT_EQ(player.open(QLIP_AUDIO), QLIP_NOT_SUPPORTED);
    EXPECT_THAT(player.open_error, HasSubstr("movie fragments"));
}

TEST(KitDescriptions, NameEveryFormat) {
    EXPECT_EQ(
        sdp_of("amrwb.3gp", QLIP_AUDIO),
        "m=audio 0 RTP/AVP 98\r\na=rtpmap:98 AMR-WB/16000/1\r\na=fmtp:98 octet-align=1\r\na=control:t=1\r\n");
    EXPECT_EQ(sdp_of("h263_hinted_pt34.3gp", QLIP_VIDEO),
              "m=video 0 RTP/AVP 34\r\na=rtpmap:34 H263/90000\r\na=framesize:34 128-96\r\na=control:t=1\r\n");
    EXPECT_THAT(sdp_of("h263.3gp", QLIP_VIDEO),
                HasSubstr("a=rtpmap:96 H263-1998/90000\r\na=fmtp:96 profile=0;level=10\r\n"));
    EXPECT_THAT(sdp_of("mpeg4.3gp", QLIP_VIDEO),
                HasSubstr("a=fmtp:102 profile-level-id=1;config=000001b001"));
    TrackPlan track = h264({});
    KitPlayer player(build_movie({.tracks = {track}}));
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.payload_type = 97;
    options.ssrc = 5;
    ASSERT_EQ(player.open(QLIP_VIDEO, options), 0);
    // The sets 67 42 E0 1E AA and 68 CE 3C.
    EXPECT_EQ(
        described([&](char* to, size_t size) { return qlip_stream_caps(player.stream, to, size); }),
        "application/x-rtp, media=(string)video, payload=(int)97, clock-rate=(int)90000, "
        "encoding-name=(string)H264, packetization-mode=(string)\"1\", profile-level-id=(string)\"42e01e\", "
        "sprop-parameter-sets=(string)\"Z0LgHqo=,aM48\", a-framesize=(string)176-144, ssrc=(uint)5, "
        "timestamp-offset=(uint)0, seqnum-offset=(uint)0");
    KitPlayer speech(sample("amrnb.3gp"));
    ASSERT_EQ(speech.open(QLIP_AUDIO), 0);
    EXPECT_THAT(described([&](char* to, size_t size) { return qlip_stream_caps(speech.stream, to, size); }),
                HasSubstr("media=(string)audio, payload=(int)97, clock-rate=(int)8000, "
                          "encoding-name=(string)AMR, encoding-params=(string)1"));
    // A set without bytes, one that is cut, no room for a count, and no profile.
    for (const auto& [bytes, parameters] :
         {std::pair("01 42E01E FF E2 0002 6742 0000",
                    "packetization-mode=1;profile-level-id=42e01e;sprop-parameter-sets=Z0I="),
          {"01 42E01E FF E1 0009 6742", "packetization-mode=1;profile-level-id=42e01e"},
          {"01 42E01E FF", "packetization-mode=1;profile-level-id=42e01e"},
          {"01 42", "packetization-mode=1"}}) {
        TrackPlan odd = h264({});
        odd.sample_entry = visual_entry("avc1", 0, 0, box("avcC", hex(bytes)));
        KitPlayer film(build_movie({.tracks = {odd}}));
        ASSERT_EQ(film.open(QLIP_VIDEO), 0) << bytes;
        EXPECT_STREQ(qlip_stream_get_info(film.stream)->format_parameters, parameters);
    }
    char little[8];
    EXPECT_GT(qlip_stream_sdp(player.stream, 5004, nullptr, little, sizeof little), 100);
    EXPECT_STREQ(little, "m=video");
}

TEST(KitDescriptions, ASenderReportCountsWhatWasReadAndNamesTheSource) {
    KitPlayer player(sample("amrnb.3gp"));
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.ssrc = 0x01020304;
    options.first_timestamp = 1000;
    ASSERT_EQ(player.open(QLIP_AUDIO, options), 0);
    player.read();
    player.read();
    Bytes packet(QLIP_SENDER_REPORT_MAX, 0xEE);
    size_t size = packet.size();
    ASSERT_EQ(qlip_stream_sender_report(player.stream, 0x1122334455667788, 0, "me", packet.data(), &size), 0);
    packet.resize(size);
    // Time 0 is 50 ticks into the track, by its edit list. Two packets of 33 bytes.
    EXPECT_EQ(packet, join({hex("80C80006 01020304 11223344 55667788 0000041A 00000002 00000042"),
                            hex("81CA0003 01020304 0102"), ByteWriter().text("me").zeros(4)}));
    size = packet.size() - 1;
    EXPECT_EQ(qlip_stream_sender_report(player.stream, 0, 0, "me", packet.data(), &size), QLIP_BAD_ARGUMENT);
}

// A program built with an older header passes a shorter record, one built with a newer header a longer one.
TEST(KitRecords, OfOtherAgesAreTakenAndGivenAsFarAsTheyGo) {
    KitPlayer player(sample("amrnb.3gp"));
    struct {
        qlip_stream_options known;
        char later[64];
    } longer = {QLIP_STREAM_OPTIONS_INIT, {}};
    longer.known.record_size = sizeof longer;
    longer.known.payload_type = 99;
    ASSERT_EQ(qlip_stream_open(&player.stream, player.source, QLIP_AUDIO, &longer.known), 0);
    EXPECT_EQ(qlip_stream_get_info(player.stream)->payload_type, 99U);
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    track.record_size = offsetof(qlip_track_info, medium);
    track.codec = QLIP_H264;
    ASSERT_EQ(qlip_source_track(player.source, 0, &track), 0);
    EXPECT_EQ(track.id, 1U);
    EXPECT_EQ(track.codec, QLIP_H264);
    EXPECT_EQ(track.record_size, offsetof(qlip_track_info, medium));
}

TEST(KitMisuse, GivesAStatus) {
    const Bytes file = sample("amrnb.3gp");
    KitPlayer player(file);
    ASSERT_EQ(player.open(QLIP_AUDIO), 0);
    qlip_source* source = player.source;
    qlip_stream* stream = player.stream;
    qlip_source* no_source = nullptr;
    qlip_stream* no_stream = nullptr;
    qlip_stream* other = nullptr;
    const qlip_frame* frame = nullptr;
    const void* chunk = nullptr;
    size_t size = 0;
    int64_t time = 0;
    char byte = 0;
    qlip_source_info source_info = QLIP_SOURCE_INFO_INIT;
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    qlip_source_functions functions = QLIP_SOURCE_FUNCTIONS_INIT, no_functions = {};
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT, none = {}, high = options, both = options;
    high.payload_type = 128;
    both.chunks = 1;
    both.track_id = 1;
    qlip_source_info no_size = {};
    qlip_track_info no_track = {};
    const std::string long_name(256, 'x');
    const auto audio = QLIP_AUDIO;
    const std::pair<int, std::function<int()>> calls[] = {
        {13, [&] { return qlip_source_path(nullptr, "x"); }},
        {13, [&] { return qlip_source_path(&no_source, nullptr); }},
        {13, [&] { return qlip_source_fd(nullptr, 0); }},
        {13, [&] { return qlip_source_fd(&no_source, -1); }},
        {3, [&] { return qlip_source_fd(&no_source, 9999); }},
        {13, [&] { return qlip_source_memory(nullptr, "", 0); }},
        {13, [&] { return qlip_source_memory(&no_source, nullptr, 1); }},
        {10, [&] { return qlip_source_memory(&no_source, "", size_t{1} << 33); }},
        {13, [&] { return qlip_source_custom(&no_source, nullptr, nullptr); }},
        {13, [&] { return qlip_source_custom(&no_source, &functions, nullptr); }},
        {13, [&] { return qlip_source_custom(nullptr, &functions, nullptr); }},
        {13, [&] { return qlip_source_custom(&no_source, &no_functions, nullptr); }},
        {5, [&] { return qlip_source_set_size(no_source, 1); }},
        {13, [&] { return qlip_source_set_size(source, 1); }},
        {10, [&] { return qlip_source_set_size(source, size_t{1} << 33); }},
        {5, [&] { return qlip_source_set_growing(no_source, 1); }},
        {5, [&] { return qlip_source_wait(no_source, 0, 0); }},
        {5, [&] { return qlip_source_set_advanced(no_source, nullptr, nullptr); }},
        {5, [&] { return qlip_source_state(no_source, &source_info); }},
        {13, [&] { return qlip_source_state(source, nullptr); }},
        {13, [&] { return qlip_source_state(source, &no_size); }},
        {5, [&] { return qlip_source_track(no_source, 0, &track); }},
        {13, [&] { return qlip_source_track(source, 0, nullptr); }},
        {13, [&] { return qlip_source_track(source, 0, &no_track); }},
        {5, [&] { return qlip_source_sync_before(no_source, 0, &time); }},
        {13, [&] { return qlip_source_sync_before(source, 0, nullptr); }},
        {13, [&] { return qlip_source_close(nullptr); }},
        {0, [&] { return qlip_source_close(&no_source); }},
        {5, [&] { return qlip_source_set_limits(no_source, nullptr); }},
        {13, [&] { return qlip_source_set_limits(source, nullptr); }},
        {5, [&] { return qlip_stream_set_first_timestamp(no_stream, 0); }},
        {13, [&] { return qlip_stream_open(nullptr, source, audio, nullptr); }},
        {5, [&] { return qlip_stream_open(&other, nullptr, audio, nullptr); }},
        {13, [&] { return qlip_stream_open(&other, source, QLIP_OTHER_MEDIUM, nullptr); }},
        {13, [&] { return qlip_stream_open(&other, source, audio, &none); }},
        {13, [&] { return qlip_stream_open(&other, source, audio, &high); }},
        {13, [&] { return qlip_stream_open(&other, source, audio, &both); }},
        {5, [&] { return qlip_stream_read(no_stream, &frame); }},
        {13, [&] { return qlip_stream_read(stream, nullptr); }},
        {8, [&] { return qlip_stream_read_chunk(stream, &chunk, &size); }},
        {13, [&] { return qlip_stream_read_chunk(stream, nullptr, &size); }},
        {5, [&] { return qlip_stream_read_chunk(no_stream, &chunk, &size); }},
        {5, [&] { return qlip_stream_seek(no_stream, 0, &time); }},
        {0, [&] { return qlip_stream_seek(stream, INT64_MIN, nullptr); }},
        {0, [&] { return qlip_stream_seek(stream, INT64_MAX, nullptr); }},
        {-5, [&] { return qlip_stream_sdp(no_stream, 0, nullptr, &byte, 1); }},
        {-13, [&] { return qlip_stream_sdp(stream, 65536, nullptr, &byte, 1); }},
        {-13, [&] { return qlip_stream_sdp(stream, 0, "x\r\na=y", &byte, 1); }},
        {-13, [&] { return qlip_stream_sdp(stream, 0, nullptr, nullptr, 1); }},
        {-5, [&] { return qlip_stream_caps(no_stream, &byte, 1); }},
        {5, [&] { return qlip_stream_sender_report(no_stream, 0, 0, "a", &byte, &size); }},
        {13, [&] { return qlip_stream_sender_report(stream, 0, 0, nullptr, &byte, &size); }},
        {13, [&] { return qlip_stream_sender_report(stream, 0, 0, "a", nullptr, &size); }},
        {13, [&] { return qlip_stream_sender_report(stream, 0, 0, "a", &byte, nullptr); }},
        {13, [&] { return qlip_stream_sender_report(stream, 0, 0, "", &byte, &size); }},
        {13, [&] { return qlip_stream_sender_report(stream, 0, 0, long_name.c_str(), &byte, &size); }},
        {13, [&] { return qlip_stream_close(nullptr); }},
        {0, [&] { return qlip_stream_close(&no_stream); }},
    };
    for (size_t i = 0; i < std::size(calls); ++i) {
        EXPECT_EQ(calls[i].second(), calls[i].first) << "row " << i;
        EXPECT_EQ(other, nullptr);
    }
    EXPECT_EQ(qlip_stream_get_info(nullptr), nullptr);
    EXPECT_EQ(qlip_stream_needs(nullptr), 0U);
    EXPECT_EQ(qlip_stream_timestamp(nullptr, 1), 0U);
    EXPECT_STREQ(qlip_stream_error(nullptr), "Bad 3gp handle passed in");
    EXPECT_EQ(qlip_version(), static_cast<unsigned int>(QLIP_VERSION));
    KitPlayer chunks(file);
    ASSERT_EQ(chunks.open(QLIP_AUDIO, kInChunks), 0);
    EXPECT_EQ(qlip_stream_read(chunks.stream, &frame), QLIP_NOT_OPEN);
    EXPECT_EQ(qlip_stream_seek(chunks.stream, 0, nullptr), QLIP_NOT_OPEN);
}
