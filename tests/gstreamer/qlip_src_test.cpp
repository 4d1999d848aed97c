// The element in a harness: what it sends is what the kit reads, wherever it starts, ends, waits or fails.
#include "plugins/gstreamer/qlip_src.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gst/check/gstharness.h>
#include <gst/rtp/rtp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "qlip/host.h"

namespace {

std::vector<const void*> packets_of_the_kit;  // where they lay, since a test last cleared it

}  // namespace

// Stands in front of the kit's, for the element in this program.
extern "C" int qlip_stream_read(qlip_stream* stream, const qlip_frame** frame) {
    static const auto real =
        reinterpret_cast<decltype(&qlip_stream_read)>(dlsym(RTLD_NEXT, "qlip_stream_read"));
    const int status = real(stream, frame);
    for (unsigned int i = 0; status == 0 && i < (*frame)->packet_count; ++i)
        packets_of_the_kit.push_back((*frame)->packets[i].iov_base);
    return status;
}

namespace {

constexpr guint kSsrc = 7, kTimestamp = 0xFFFFFF00, kType = 101;
constexpr gint kSequence = 65530;

std::string sample(const std::string& name) {
    return QLIP_SAMPLES "/" + name + ".3gp";
}

std::string contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void append(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::app) << bytes;
}

struct Sent {
    std::string packet;
    GstClockTime time, duration;
    bool sync, last;
    bool operator==(const Sent&) const = default;
    uint16_t sequence() const {
        return static_cast<uint16_t>(static_cast<unsigned char>(packet[2]) << 8 |
                                     static_cast<unsigned char>(packet[3]));
    }
};

// A file of the test's own.
struct Scratch {
    Scratch() { append(path, ""); }
    ~Scratch() { std::filesystem::remove(path); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    const std::string path =
        std::filesystem::temp_directory_path() / ("qlipsrc." + std::to_string(g_random_int()) + ".3gp");
};

class Player {
  public:
    explicit Player(const std::string& path, const char* track = "video", bool growing = false)
        : element(GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("qlipsrc", nullptr)))) {
        gst_util_set_object_arg(G_OBJECT(element), "track", track);
        g_object_set(element, "location", path.c_str(), "ssrc", kSsrc, "timestamp-offset", kTimestamp,
                     "seqnum-offset", kSequence, "pt", kType, "growing", growing, nullptr);
        harness = gst_harness_new_with_element(element, nullptr, "src");
        bus = gst_bus_new();
        gst_element_set_bus(element, bus);
    }
    ~Player() {
        gst_harness_teardown(harness);
        gst_element_set_bus(element, nullptr);
        gst_object_unref(bus);
        gst_object_unref(element);
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;
    void play() { gst_harness_play(harness); }
    bool set_state(GstState state) {
        return gst_element_set_state(element, state) != GST_STATE_CHANGE_FAILURE;
    }

    // What comes up to the end of stream; `segment` becomes the newest one.
    std::vector<GstBuffer*> buffers() {
        kinds.clear();
        while (kinds.empty() || kinds.back() != GST_EVENT_EOS) {
            GstEvent* event = gst_harness_pull_event(harness);
            if (!event) break;
            kinds.push_back(GST_EVENT_TYPE(event));
            if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) gst_event_copy_segment(event, &segment);
            gst_event_unref(event);
        }
        std::vector<GstBuffer*> sent;
        while (GstBuffer* buffer = gst_harness_try_pull(harness))
            sent.push_back(buffer);
        return sent;
    }

    std::vector<Sent> rest() {
        std::vector<Sent> sent;
        for (GstBuffer* buffer : buffers())
            sent.push_back(take(buffer));
        return sent;
    }

    // The same behind a seek, and what was under way when it came.
    std::vector<Sent> rest_after_seek() {
        std::vector<Sent> sent;
        do {
            for (const Sent& each : rest())
                sent.push_back(each);
        } while (!kinds.empty() && std::count(kinds.begin(), kinds.end(), GST_EVENT_FLUSH_STOP) == 0);
        return sent;
    }

    Sent next() { return take(gst_harness_pull(harness)); }

    bool seek(GstClockTime time, GstSeekFlags flags = GST_SEEK_FLAG_KEY_UNIT,
              GstClockTime stop = GST_CLOCK_TIME_NONE, double rate = 1) {
        return gst_harness_push_upstream_event(
            harness, gst_event_new_seek(rate, GST_FORMAT_TIME, GstSeekFlags(flags | GST_SEEK_FLAG_FLUSH),
                                        GST_SEEK_TYPE_SET, static_cast<gint64>(time), GST_SEEK_TYPE_SET,
                                        static_cast<gint64>(stop)));
    }

    // The first error on the bus, or "".
    std::string error() {
        GstMessage* message = gst_bus_timed_pop_filtered(bus, 5 * GST_SECOND, GST_MESSAGE_ERROR);
        if (!message) return "";
        GError* what = nullptr;
        gst_message_parse_error(message, &what, nullptr);
        std::string text = what->message;
        g_error_free(what);
        gst_message_unref(message);
        return text;
    }

    guint stat(const char* name) {
        GstStructure* stats = nullptr;
        guint value = 0;
        g_object_get(element, "stats", &stats, nullptr);
        EXPECT_TRUE(gst_structure_get_uint(stats, name, &value)) << name;
        gst_structure_free(stats);
        return value;
    }

    GstElement* element;
    GstHarness* harness;
    GstBus* bus;
    GstSegment segment{};
    std::vector<GstEventType> kinds;

    // What a buffer holds, which is let go of.
    static Sent take(GstBuffer* buffer) {
        std::string packet(gst_buffer_get_size(buffer), '\0');
        gst_buffer_extract(buffer, 0, packet.data(), packet.size());
        Sent sent = {packet, GST_BUFFER_PTS(buffer), GST_BUFFER_DURATION(buffer),
                     !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT),
                     bool(GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_MARKER))};
        gst_buffer_unref(buffer);
        return sent;
    }
};

// What the kit reads of a track, with the numbers that a Player asks for. `shift` puts its times on the
// element's.
std::vector<Sent> expected(const std::string& path, qlip_medium medium) {
    qlip_source* source = nullptr;
    qlip_stream* stream = nullptr;
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.ssrc = kSsrc;
    options.first_timestamp = kTimestamp;
    options.first_sequence = kSequence;
    options.payload_type = kType;
    EXPECT_EQ(qlip_source_path(&source, path.c_str()), 0);
    EXPECT_EQ(qlip_stream_open(&stream, source, medium, &options), 0);
    int64_t origin = 0;
    qlip_track_info track = QLIP_TRACK_INFO_INIT;
    for (unsigned int i = 0; qlip_source_track(source, i, &track) == 0; ++i)
        origin = std::min(origin, track.shift);
    std::vector<Sent> sent;
    const qlip_frame* frame = nullptr;
    while (qlip_stream_read(stream, &frame) == 0) {
        for (unsigned int i = 0; i < frame->packet_count; ++i) {
            sent.push_back(
                {std::string(static_cast<char*>(frame->packets[i].iov_base), frame->packets[i].iov_len),
                 static_cast<GstClockTime>(frame->presentation_time - origin), frame->duration,
                 frame->is_sync != 0, frame->marker && i + 1 == frame->packet_count});
        }
    }
    qlip_stream_close(&stream);
    qlip_source_close(&source);
    return sent;
}

std::vector<std::string> payloads(const std::vector<Sent>& sent) {
    std::vector<std::string> out;
    for (const Sent& each : sent)
        out.push_back(each.packet.substr(12));
    return out;
}

TEST(QlipSrc, SendsWhatTheKitReadsAndEndsBehindAGap) {
    for (const std::string name : {"amrnb", "amrwb", "amrnb_dtx_faststart", "h263", "h263_hinted_pt34",
                                   "mpeg4_hinted", "h264", "av_h263_amrnb_hinted", "mpeg4_with_aac"}) {
        SCOPED_TRACE(name);
        const bool audio = name[0] == 'a';
        Player player(sample(name), audio ? "audio" : "video");
        for (const guint64 lead :
             {guint64{0}, guint64{150 * GST_MSECOND}}) {  // a second start is like the first
            g_object_set(player.element, "lead", lead, nullptr);
            player.play();
            const std::vector<Sent> sent = player.rest();
            EXPECT_TRUE(sent == expected(sample(name), audio ? QLIP_AUDIO : QLIP_VIDEO));
            EXPECT_THAT(player.kinds, testing::ElementsAre(GST_EVENT_STREAM_START, GST_EVENT_CAPS,
                                                           GST_EVENT_SEGMENT, GST_EVENT_GAP, GST_EVENT_EOS));
            EXPECT_EQ(player.stat("seqnum"), sent.back().sequence());
            EXPECT_EQ(player.stat("seqnum-offset"), guint(kSequence));
            EXPECT_EQ(player.stat("ssrc"), kSsrc);
            player.set_state(GST_STATE_NULL);
        }
    }
}

// They outlive the element.
TEST(QlipSrc, HandsOnTheMemoryThatTheKitFilled) {
    for (const std::string name : {"amrnb_dtx_faststart", "h263", "mpeg4_hinted", "h264_hinted"}) {
        SCOPED_TRACE(name);
        const bool audio = name[0] == 'a';
        std::vector<GstBuffer*> buffers;
        packets_of_the_kit.clear();
        {
            Player player(sample(name), audio ? "audio" : "video");
            player.play();
            buffers = player.buffers();
        }
        const std::vector<const void*> read = packets_of_the_kit;
        const std::vector<Sent> all = expected(sample(name), audio ? QLIP_AUDIO : QLIP_VIDEO);
        ASSERT_EQ(buffers.size(), all.size());
        ASSERT_EQ(read.size(), all.size());
        for (size_t i = 0; i < buffers.size(); ++i) {
            GstMapInfo map;
            ASSERT_TRUE(gst_buffer_map(buffers[i], &map, GST_MAP_READ));
            EXPECT_EQ(map.data, read[i]);
            gst_buffer_unmap(buffers[i], &map);
            EXPECT_TRUE(Player::take(buffers[i]) == all[i]);
        }
    }
}

TEST(QlipSrc, SeeksToTheSyncPictureWithEveryTrack) {
    const std::vector<Sent> whole = expected(sample("av_h263_amrnb_hinted"), QLIP_VIDEO);
    for (const GstSeekFlags flags : {GST_SEEK_FLAG_KEY_UNIT, GST_SEEK_FLAG_ACCURATE}) {
        Player video(sample("av_h263_amrnb_hinted")), audio(sample("av_h263_amrnb_hinted"), "audio");
        for (Player* player : {&video, &audio}) {
            player->play();
            player->rest();
            ASSERT_TRUE(player->seek(1900 * GST_MSECOND, flags));  // behind the end of stream
        }
        const std::vector<Sent> pictures = video.rest(), speech = audio.rest();
        EXPECT_EQ(video.segment.start, audio.segment.start);
        EXPECT_LE(video.segment.start, 1900 * GST_MSECOND);
        EXPECT_GT(video.segment.start, 0U);
        EXPECT_EQ(video.stat("seqnum-offset"), pictures.front().sequence());
        EXPECT_TRUE(pictures.front().sync);
        EXPECT_EQ(pictures.front().time, video.segment.start);
        EXPECT_EQ(pictures.front().sequence(), static_cast<uint16_t>(whole.back().sequence() + 1));
        const std::vector<std::string> all = payloads(whole), got = payloads(pictures);
        ASSERT_LT(got.size(), all.size());
        EXPECT_TRUE(std::equal(got.rbegin(), got.rend(), all.rbegin()));
        EXPECT_LE(speech.front().time, audio.segment.start);
        EXPECT_GT(speech.front().time + speech.front().duration, audio.segment.start);
        EXPECT_EQ(speech.back().time, expected(sample("av_h263_amrnb_hinted"), QLIP_AUDIO).back().time);
    }
}

TEST(QlipSrc, SeeksWhileItPlaysAndStopsWhereItIsTold) {
    Player player(sample("amrnb"), "audio");
    player.play();
    player.next();
    ASSERT_TRUE(player.seek(GST_SECOND, GST_SEEK_FLAG_NONE, 2 * GST_SECOND));
    EXPECT_EQ(player.rest_after_seek().back().time, 1980 * GST_MSECOND);
    EXPECT_FALSE(player.seek(0, GST_SEEK_FLAG_NONE, GST_CLOCK_TIME_NONE, -1));
    ASSERT_TRUE(player.seek(0));
    EXPECT_GE(player.rest_after_seek().size(), expected(sample("amrnb"), QLIP_AUDIO).size());
}

TEST(QlipSrc, WaitsForAFileThatGrows) {
    const std::string whole = contents(sample("h263_cif_faststart"));
    const Scratch file;
    Player player(file.path, "video", true);
    player.play();
    const size_t piece = whole.size() / 7 + 1;
    for (size_t at = 0; at < whole.size(); at += piece) {
        append(file.path, whole.substr(at, piece));
        if (at == piece) {
            player.next();
            EXPECT_FALSE(player.seek(1900 * GST_MSECOND)) << "it has not arrived yet";
        }
        g_usleep(20000);
    }
    std::vector<Sent> all = expected(sample("h263_cif_faststart"), QLIP_VIDEO);
    all.erase(all.begin());
    EXPECT_TRUE(player.rest() == all);
}

TEST(QlipSrc, CanBeStoppedWhileItWaitsAndToldThatNothingMoreComes) {
    const std::string whole = contents(sample("h263_cif_faststart"));
    for (const size_t size : {size_t{0}, whole.size() / 2}) {
        const Scratch file;
        append(file.path, whole.substr(0, size));
        Player player(file.path, "video", true);
        player.play();
        if (size > 0) player.next();
        EXPECT_TRUE(player.set_state(GST_STATE_NULL));
        player.play();
        g_object_set(player.element, "growing", FALSE, nullptr);
        EXPECT_THAT(player.error(), testing::HasSubstr(size > 0 ? "damaged" : "cut short"));
        player.rest();
    }
}

TEST(QlipSrc, SaysWhyItCannotPlay) {
    const Scratch garbage;
    append(garbage.path, std::string(1000, 'x'));
    for (const auto& [path, why] :
         std::vector<std::pair<std::string, const char*>>{{"", "location is not set"},
                                                          {"/nonexistent/clip.3gp", "No such file"},
                                                          {"/", "no regular file"},
                                                          {sample("amrnb"), "has no video track"},
                                                          {garbage.path, "missing or cut short"}}) {
        Player player(path);
        EXPECT_FALSE(player.set_state(GST_STATE_PLAYING)) << path;
        EXPECT_THAT(player.error(), testing::HasSubstr(why));
    }
    for (const char* limit : {"max-memory", "max-boxes", "max-samples"}) {
        Player limited(sample("h264"));
        g_object_set(limited.element, limit, guint64{10}, nullptr);
        EXPECT_FALSE(limited.set_state(GST_STATE_PLAYING)) << limit;
        EXPECT_THAT(limited.error(), testing::HasSubstr("passes a limit"));
    }
    Player aac(sample("aac_refused"), "audio");
    EXPECT_FALSE(aac.set_state(GST_STATE_PLAYING));
    EXPECT_THAT(aac.error(), testing::HasSubstr("AAC"));
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    gst_init(&argc, &argv);
    qlip::gst::register_qlip_src(nullptr);
    const int result = RUN_ALL_TESTS();
    gst_deinit();
    return result;
}
