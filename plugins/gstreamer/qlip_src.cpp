#include "plugins/gstreamer/qlip_src.h"

#include <gst/base/gstpushsrc.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

#include "plugins/gstreamer/frame_buffers.h"
#include "plugins/gstreamer/track.h"

GST_DEBUG_CATEGORY_STATIC(qlip_src_debug);
#define GST_CAT_DEFAULT qlip_src_debug

namespace qlip::gst {
namespace {

constexpr std::chrono::milliseconds kLookAgain{20};  // whether a growing file has grown
constexpr GstClockTime kLinger = 250 * GST_MSECOND;  // between the last frame and the end of stream
constexpr unsigned int kMostDamagedFrames = 32;
constexpr guint kRandom = G_MAXUINT;  // of the properties that start numbers
constexpr gint kRandomSequence = -1;

enum Property {
    kLocation = 1,
    kTrack,
    kPayloadType,
    kSsrc,
    kGrowing,
    kLead,
    kTimestampOffset,
    kSequenceOffset,
    kStats,
};

// What the application asked for.
struct Settings {
    std::string location;
    qlip_medium track = QLIP_VIDEO;
    guint payload_type = 0;
    guint ssrc = kRandom;
    guint timestamp_offset = kRandom;
    gint sequence_offset = kRandomSequence;
    bool growing = false;
    guint64 lead = 0;
};

// Of the newest frame, and of the stream.
struct Stats {
    uint32_t clock_rate = 0, ssrc = 0, payload_type = 0, first_timestamp = 0, timestamp = 0;
    uint16_t first_sequence = 0, sequence = 0;
};

// `settings`, `stats` and `source_open` belong to the object's lock; `flushing` to `wait_lock`; the rest to
// the streaming thread, and to seeks and changes of state, which GstBaseSrc keeps apart from it.
struct Parts {
    Settings settings;
    Stats stats;
    bool source_open = false;
    Track track;
    GstClockTime begin = 0;  // frames that end before it are left out
    GstClockTime lead = 0;
    GstClockTime sent_to = 0;           // where the last frame that was sent ends
    const qlip_frame* ahead = nullptr;  // read, but not yet sent
    int ahead_status = QLIP_SUCCESS;    // of a read in its place
    unsigned int damaged = 0;
    std::string trouble;  // the last one: one that comes twice stays
    bool fresh = true;    // nothing was read since the track was opened
    bool sent = false;    // something was, in this segment
    bool flushing = false;
    std::mutex source_lock;
    std::mutex wait_lock;
    std::condition_variable wait_end;
};

}  // namespace

struct QlipSrc {
    GstPushSrc parent;
    Parts* parts;
};

struct QlipSrcClass {
    GstPushSrcClass parent;
};

namespace {

GstStaticPadTemplate source_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("application/x-rtp"));

GType track_type() {
    static const GEnumValue values[] = {{QLIP_AUDIO, "The last audio track of a supported codec", "audio"},
                                        {QLIP_VIDEO, "The last video track of a supported codec", "video"},
                                        {0, nullptr, nullptr}};
    static const GType type = g_enum_register_static("QlipSrcTrack", values);
    return type;
}

}  // namespace

G_DEFINE_TYPE(QlipSrc, qlip_src, GST_TYPE_PUSH_SRC)

namespace {

QlipSrc* of(void* object) {
    return static_cast<QlipSrc*>(object);
}

// ---- Properties

void pass_on_growing(Parts& parts, bool growing) {
    const std::lock_guard lock(parts.source_lock);
    if (parts.source_open) parts.track.set_growing(growing);
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* param) {
    Parts& parts = *of(object)->parts;
    GST_OBJECT_LOCK(object);
    Settings& settings = parts.settings;
    switch (id) {
        case kLocation: {
            const char* path = g_value_get_string(value);
            settings.location = path ? path : "";
            break;
        }
        case kTrack:
            settings.track = static_cast<qlip_medium>(g_value_get_enum(value));
            break;
        case kPayloadType:
            settings.payload_type = g_value_get_uint(value);
            break;
        case kSsrc:
            settings.ssrc = g_value_get_uint(value);
            break;
        case kGrowing:
            settings.growing = g_value_get_boolean(value) != FALSE;
            break;
        case kLead:
            settings.lead = g_value_get_uint64(value);
            break;
        case kTimestampOffset:
            settings.timestamp_offset = g_value_get_uint(value);
            break;
        case kSequenceOffset:
            settings.sequence_offset = g_value_get_int(value);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param);
    }
    GST_OBJECT_UNLOCK(object);
    if (id == kGrowing) pass_on_growing(parts, g_value_get_boolean(value) != FALSE);
}

// The names are those of GstRTPBasePayload, which GStreamer's server asks for RTP-Info. With a running time
// it would move the timestamp to the one of another track's sink, which counts differently behind a seek.
GstStructure* structure_of(const Stats& stats) {
    return gst_structure_new("application/x-rtp-payload-stats", "clock-rate", G_TYPE_UINT, stats.clock_rate,
                             "running-time", G_TYPE_UINT64, GST_CLOCK_TIME_NONE, "seqnum", G_TYPE_UINT,
                             guint{stats.sequence}, "timestamp", G_TYPE_UINT, stats.timestamp, "ssrc",
                             G_TYPE_UINT, stats.ssrc, "pt", G_TYPE_UINT, stats.payload_type, "seqnum-offset",
                             G_TYPE_UINT, guint{stats.first_sequence}, "timestamp-offset", G_TYPE_UINT,
                             stats.first_timestamp, nullptr);
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* param) {
    const Parts& parts = *of(object)->parts;
    GST_OBJECT_LOCK(object);
    const Settings& settings = parts.settings;
    switch (id) {
        case kLocation:
            g_value_set_string(value, settings.location.c_str());
            break;
        case kTrack:
            g_value_set_enum(value, settings.track);
            break;
        case kPayloadType:
            g_value_set_uint(value, settings.payload_type);
            break;
        case kSsrc:
            g_value_set_uint(value, settings.ssrc);
            break;
        case kGrowing:
            g_value_set_boolean(value, settings.growing);
            break;
        case kLead:
            g_value_set_uint64(value, settings.lead);
            break;
        case kTimestampOffset:
            g_value_set_uint(value, settings.timestamp_offset);
            break;
        case kSequenceOffset:
            g_value_set_int(value, settings.sequence_offset);
            break;
        case kStats:
            g_value_take_boxed(value, structure_of(parts.stats));
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param);
    }
    GST_OBJECT_UNLOCK(object);
}

// ---- Failures

// What GStreamer calls the failures of opening.
void report_no_source(QlipSrc* src, int status, const Settings& settings, const std::string& reason) {
    const char* path = settings.location.c_str();
    if (settings.location.empty()) {
        GST_ELEMENT_ERROR(src, RESOURCE, NOT_FOUND, ("No file: the property location is not set."),
                          (nullptr));
    } else if (status == QLIP_NO_SUCH_FILE) {
        GST_ELEMENT_ERROR(src, RESOURCE, NOT_FOUND, ("Cannot open %s: %s.", path, reason.c_str()), (nullptr));
    } else {
        GST_ELEMENT_ERROR(src, RESOURCE, OPEN_READ, ("Cannot read %s: %s.", path, reason.c_str()), (nullptr));
    }
}

void report_no_stream(QlipSrc* src, int status, const std::string& path, const std::string& reason) {
    const char *file = path.c_str(), *why = reason.c_str();
    if (status == QLIP_NO_SUCH_TRACK)
        GST_ELEMENT_ERROR(src, STREAM, WRONG_TYPE, ("Cannot play %s: %s.", file, why), (nullptr));
    else if (status == QLIP_UNKNOWN_CODER)
        GST_ELEMENT_ERROR(src, STREAM, CODEC_NOT_FOUND, ("Cannot play %s: %s.", file, why), (nullptr));
    else if (status == QLIP_IO_CALLBACK_FAILED)
        GST_ELEMENT_ERROR(src, RESOURCE, READ, ("Cannot read %s: %s.", file, why), (nullptr));
    else
        GST_ELEMENT_ERROR(src, STREAM, DEMUX, ("Cannot play %s: %s.", file, why), ("status %d", status));
}

void report_failed_read(QlipSrc* src, int status, const std::string& why) {
    if (status == QLIP_IO_CALLBACK_FAILED)
        GST_ELEMENT_ERROR(src, RESOURCE, READ, ("Cannot read on: %s.", why.c_str()), (nullptr));
    else
        GST_ELEMENT_ERROR(src, STREAM, DEMUX, ("The file is damaged: %s.", why.c_str()),
                          ("status %d", status));
}

// ---- Opening

Settings settings_of(QlipSrc* src) {
    GST_OBJECT_LOCK(src);
    Settings settings = src->parts->settings;
    GST_OBJECT_UNLOCK(src);
    return settings;
}

void close_source(Parts& parts) {
    const std::lock_guard lock(parts.source_lock);
    parts.source_open = false;
    parts.track.close();
}

int open_source(Parts& parts, const Settings& settings, std::string& reason) {
    const std::lock_guard lock(parts.source_lock);
    const int status = parts.track.open_source(settings.location.c_str(), settings.growing, reason);
    parts.source_open = status == QLIP_SUCCESS;
    return status;
}

qlip_stream_options stream_options(const Settings& settings) {
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.payload_type = static_cast<uint8_t>(settings.payload_type);
    options.ssrc = settings.ssrc == kRandom ? g_random_int() : settings.ssrc;
    options.first_timestamp =
        settings.timestamp_offset == kRandom ? g_random_int() : settings.timestamp_offset;
    options.first_sequence = static_cast<uint16_t>(
        settings.sequence_offset == kRandomSequence ? g_random_int() : settings.sequence_offset);
    return options;
}

void begin_stats(QlipSrc* src, const qlip_stream_info& info) {
    Stats stats;
    stats.clock_rate = info.clock_rate;
    stats.ssrc = info.ssrc;
    stats.payload_type = info.payload_type;
    stats.first_timestamp = stats.timestamp = info.first_timestamp;
    stats.first_sequence = stats.sequence = info.first_sequence;
    GST_OBJECT_LOCK(src);
    src->parts->stats = stats;
    GST_BASE_SRC(src)->segment.duration = src->parts->track.duration();
    GST_OBJECT_UNLOCK(src);
}

void forget_ahead(Parts& parts) {
    parts.ahead = nullptr;
    parts.ahead_status = QLIP_SUCCESS;
}

// 0, or 17 while the structure of a growing file is on its way, or a failure that was reported.
int open_stream(QlipSrc* src) {
    Parts& parts = *src->parts;
    const Settings settings = settings_of(src);
    std::string reason;
    const int status = parts.track.open_stream(settings.track, stream_options(settings), reason);
    if (status == QLIP_SUCCESS)
        begin_stats(src, parts.track.info());
    else if (status != QLIP_NOT_AVAILABLE_YET)
        report_no_stream(src, status, settings.location, reason);
    return status;
}

gboolean start(GstBaseSrc* base) {
    QlipSrc* src = of(base);
    Parts& parts = *src->parts;
    const Settings settings = settings_of(src);
    std::string reason;
    const int status = open_source(parts, settings, reason);
    if (status != QLIP_SUCCESS) {
        report_no_source(src, status, settings, reason);
        return FALSE;
    }
    parts.begin = 0;
    parts.lead = settings.lead;
    forget_ahead(parts);
    parts.damaged = 0;
    parts.trouble.clear();
    parts.fresh = true;
    parts.sent = parts.flushing = false;
    const int opened = open_stream(src);
    if (opened == QLIP_SUCCESS || opened == QLIP_NOT_AVAILABLE_YET) return TRUE;
    close_source(parts);
    return FALSE;
}

gboolean stop(GstBaseSrc* base) {
    close_source(*of(base)->parts);
    return TRUE;
}

// ---- Waiting

void set_flushing(GstBaseSrc* base, bool flushing) {
    Parts& parts = *of(base)->parts;
    const std::lock_guard lock(parts.wait_lock);
    parts.flushing = flushing;
    parts.wait_end.notify_one();
}

gboolean unlock(GstBaseSrc* base) {
    set_flushing(base, true);
    return TRUE;
}

gboolean unlock_stop(GstBaseSrc* base) {
    set_flushing(base, false);
    return TRUE;
}

// Until what the track needs has arrived. False when somebody wants the thread.
bool wait_for_bytes(Parts& parts) {
    GST_LOG("waiting for the file to grow");
    std::unique_lock lock(parts.wait_lock);
    while (!parts.flushing && !parts.track.can_go_on())
        parts.wait_end.wait_for(lock, kLookAgain);
    return !parts.flushing;
}

// ---- Seeking

// The next frame that does not end before the segment begins.
int read_frame(Parts& parts, const qlip_frame** frame) {
    *frame = parts.ahead;
    int status = parts.ahead_status;
    forget_ahead(parts);
    parts.fresh = false;
    while (!*frame && status == QLIP_SUCCESS) {
        status = parts.track.read(frame);
        if (status != QLIP_SUCCESS) break;
        const GstClockTime time = parts.track.on_timeline((*frame)->presentation_time);
        if (time < parts.begin && time + (*frame)->duration <= parts.begin) *frame = nullptr;
    }
    return status;
}

// A server says in RTP-Info which packet comes first and which timestamp the segment begins with (RFC
// 2326 12.33), which the frame may do a little before it.
void note(QlipSrc* src, const qlip_frame& frame, const GstSegment& segment) {
    const GstClockTime time = src->parts->track.on_timeline(frame.presentation_time);
    const GstClockTime from = MAX(time, segment.start);
    GST_OBJECT_LOCK(src);
    Stats& stats = src->parts->stats;
    stats.timestamp = frame.timestamp +
                      static_cast<uint32_t>(gst_util_uint64_scale(from - time, stats.clock_rate, GST_SECOND));
    GST_OBJECT_UNLOCK(src);
}

gboolean is_seekable(GstBaseSrc* base) {
    return of(base)->parts->track.is_open();
}

void note_last(QlipSrc* src, const qlip_frame& frame) {
    GST_OBJECT_LOCK(src);
    src->parts->stats.sequence = static_cast<uint16_t>(frame.sequence + frame.packet_count - 1);
    GST_OBJECT_UNLOCK(src);
}

// GStreamer's server takes the number of the first packet for RTP-Info from here.
void note_first(QlipSrc* src, const qlip_frame& frame) {
    GST_OBJECT_LOCK(src);
    src->parts->stats.first_sequence = frame.sequence;
    GST_OBJECT_UNLOCK(src);
}

// Decoding cannot start between sync pictures, so the segment begins at the one in front, whatever the flags.
gboolean do_seek(GstBaseSrc* base, GstSegment* segment) {
    QlipSrc* src = of(base);
    Parts& parts = *src->parts;
    if (segment->rate < 0) {
        GST_DEBUG_OBJECT(src, "cannot play backwards");
        return FALSE;
    }
    parts.sent = false;
    parts.trouble.clear();
    if (!parts.track.is_open() || (parts.fresh && segment->start == 0)) return segment->start == 0;
    uint64_t time = segment->start;
    forget_ahead(parts);
    const int status = parts.track.seek(time);
    if (status != QLIP_SUCCESS) {
        GST_DEBUG_OBJECT(src, "cannot seek to %" GST_TIME_FORMAT ": status %d", GST_TIME_ARGS(segment->start),
                         status);
        return FALSE;
    }
    GST_DEBUG_OBJECT(src, "from %" GST_TIME_FORMAT " to %" GST_TIME_FORMAT, GST_TIME_ARGS(segment->start),
                     GST_TIME_ARGS(time));
    segment->start = segment->position = segment->time = parts.begin = time;
    const qlip_frame* first = nullptr;
    parts.ahead_status = read_frame(parts, &first);
    if (parts.ahead_status == QLIP_SUCCESS) {
        parts.ahead = first;
        note(src, *first, *segment);
        note_first(src, *first);
    }
    return TRUE;
}

// Whether a seek leads to what a growing file does not have yet. It is refused before anything is flushed:
// the caller could wait long for the first frame.
bool leads_too_far(QlipSrc* src, GstEvent* event) {
    GstFormat format = GST_FORMAT_UNDEFINED;
    GstSeekType type = GST_SEEK_TYPE_NONE;
    gint64 start = 0;
    gst_event_parse_seek(event, nullptr, &format, nullptr, &type, &start, nullptr, nullptr);
    const Settings settings = settings_of(src);
    if (!settings.growing || format != GST_FORMAT_TIME || type != GST_SEEK_TYPE_SET || start < 0)
        return false;
    Parts& parts = *src->parts;
    const std::lock_guard lock(parts.source_lock);
    return parts.source_open && !parts.track.has_arrived(settings.track, static_cast<uint64_t>(start));
}

gboolean handle_event(GstBaseSrc* base, GstEvent* event) {
    if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK && leads_too_far(of(base), event)) {
        GST_INFO_OBJECT(base, "refused: the place has not arrived yet");
        return FALSE;
    }
    return GST_BASE_SRC_CLASS(qlip_src_parent_class)->event(base, event);
}

// ---- Streaming

bool set_caps(QlipSrc* src) {
    GstCaps* caps = gst_caps_from_string(src->parts->track.caps().c_str());
    const bool taken = caps && gst_base_src_set_caps(GST_BASE_SRC(src), caps);
    gst_clear_caps(&caps);
    return taken;
}

// A growing file's stream may still have to be opened, which the first frame does.
gboolean negotiate(GstBaseSrc* base) {
    return !of(base)->parts->track.is_open() || set_caps(of(base));
}

GstFlowReturn open_late(QlipSrc* src) {
    int status = QLIP_NOT_AVAILABLE_YET;
    while (status == QLIP_NOT_AVAILABLE_YET) {
        if (!wait_for_bytes(*src->parts)) return GST_FLOW_FLUSHING;
        status = open_stream(src);
    }
    if (status != QLIP_SUCCESS) return GST_FLOW_ERROR;
    gst_element_post_message(GST_ELEMENT(src), gst_message_new_duration_changed(GST_OBJECT(src)));
    return set_caps(src) ? GST_FLOW_OK : GST_FLOW_NOT_NEGOTIATED;
}

// A sink leaves at the end of stream at once, and with RTP that is a goodbye. It waits for a gap's time, as
// it does for a frame's: until the last frame is over, and receivers that look for goodbyes first have had
// it.
GstFlowReturn end(QlipSrc* src) {
    const GstSegment& segment = GST_BASE_SRC(src)->segment;
    if (src->parts->sent) {
        const GstClockTime late =
            MIN(src->parts->sent_to + kLinger, segment.stop);  // a stop that is not set is far
        gst_pad_push_event(GST_BASE_SRC_PAD(src), gst_event_new_gap(late, 0));
        src->parts->sent = false;
    }
    return GST_FLOW_EOS;
}

bool is_behind(const GstSegment& segment, uint64_t time) {
    return GST_CLOCK_TIME_IS_VALID(segment.stop) && time >= segment.stop;
}

// A frame that cannot be read: wait, go on behind it, or give up. A cut file says the same again and again.
GstFlowReturn get_over(QlipSrc* src, int status) {
    Parts& parts = *src->parts;
    if (status == QLIP_END_OF_FILE) return end(src);
    if (status == QLIP_NOT_AVAILABLE_YET) return wait_for_bytes(parts) ? GST_FLOW_OK : GST_FLOW_FLUSHING;
    const std::string why = parts.track.error();
    const bool one_frame = status == QLIP_CORRUPT_FILE || status == QLIP_NOT_SUPPORTED;
    if (one_frame && why != parts.trouble && ++parts.damaged <= kMostDamagedFrames) {
        GST_WARNING_OBJECT(src, "passed over: %s", why.c_str());
        parts.trouble = why;
        return GST_FLOW_OK;
    }
    end(src);  // what was sent is to arrive
    report_failed_read(src, status, why);
    return GST_FLOW_ERROR;
}

void add_frame(QlipSrc* src, GstBufferList* list, const qlip_frame& frame) {
    Parts& parts = *src->parts;
    const GstClockTime time = parts.track.on_timeline(frame.presentation_time);
    note_last(src, frame);
    add_buffers(list, frame, time);
    parts.sent_to = time + frame.duration;
    parts.sent = true;
}

// Those that are due so soon that they may go with the first. What comes instead of one is for the next call.
void add_early_frames(QlipSrc* src, GstBufferList* list, GstClockTime due) {
    Parts& parts = *src->parts;
    const GstSegment& segment = GST_BASE_SRC(src)->segment;
    while (parts.lead > 0 && !parts.ahead && parts.ahead_status == QLIP_SUCCESS) {
        const qlip_frame* frame = nullptr;
        parts.ahead_status = read_frame(parts, &frame);
        if (parts.ahead_status != QLIP_SUCCESS) return;
        const GstClockTime time = parts.track.on_timeline(frame->time);
        if (time >= due + parts.lead || is_behind(segment, time))
            parts.ahead = frame;
        else
            add_frame(src, list, *frame);
    }
}

GstFlowReturn create(GstPushSrc* push, GstBuffer** /*buffer*/) {
    QlipSrc* src = of(push);
    Parts& parts = *src->parts;
    GstFlowReturn flow = parts.track.is_open() ? GST_FLOW_OK : open_late(src);
    while (flow == GST_FLOW_OK) {
        const qlip_frame* frame = nullptr;
        const int status = read_frame(parts, &frame);
        if (status != QLIP_SUCCESS) {
            flow = get_over(src, status);
            continue;
        }
        const GstClockTime due = parts.track.on_timeline(frame->time);
        if (is_behind(GST_BASE_SRC(src)->segment, due)) return end(src);
        GstBufferList* list = gst_buffer_list_new_sized(frame->packet_count);
        note(src, *frame, GST_BASE_SRC(src)->segment);
        add_frame(src, list, *frame);
        add_early_frames(src, list, due);
        gst_base_src_submit_buffer_list(GST_BASE_SRC(src), list);
        return GST_FLOW_OK;
    }
    return flow;
}

// ---- The class

void add_property(GObjectClass* klass, Property id, GParamSpec* param) {
    g_object_class_install_property(klass, id, param);
}

void add_properties(GObjectClass* klass) {
    constexpr auto kSet = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
    constexpr auto kBeforePlaying = static_cast<GParamFlags>(kSet | GST_PARAM_MUTABLE_READY);
    constexpr auto kAlways = static_cast<GParamFlags>(kSet | GST_PARAM_MUTABLE_PLAYING);
    constexpr auto kReadOnly = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);
    add_property(
        klass, kLocation,
        g_param_spec_string("location", "Location", "The 3GP file to read", nullptr, kBeforePlaying));
    add_property(
        klass, kTrack,
        g_param_spec_enum("track", "Track", "The track to send", track_type(), QLIP_VIDEO, kBeforePlaying));
    add_property(
        klass, kPayloadType,
        g_param_spec_uint("pt", "Payload type", "Payload type of the packets (0 = the codec's usual one)", 0,
                          127, 0, kBeforePlaying));
    add_property(klass, kSsrc,
                 g_param_spec_uint("ssrc", "SSRC", "SSRC of the packets (4294967295 = random)", 0, G_MAXUINT,
                                   kRandom, kBeforePlaying));
    add_property(klass, kGrowing,
                 g_param_spec_boolean("growing", "Growing",
                                      "The file is still being written: wait at its end instead of ending",
                                      FALSE, kAlways));
    add_property(klass, kLead,
                 g_param_spec_uint64("lead", "Lead",
                                     "How long before its time a frame may go with one that is due, in "
                                     "nanoseconds (0 = each in its own list)",
                                     0, GST_SECOND, 0, kBeforePlaying));
    add_property(klass, kTimestampOffset,
                 g_param_spec_uint("timestamp-offset", "Timestamp offset",
                                   "RTP timestamp of the start of the track (4294967295 = random)", 0,
                                   G_MAXUINT, kRandom, kBeforePlaying));
    add_property(klass, kSequenceOffset,
                 g_param_spec_int("seqnum-offset", "Sequence number offset",
                                  "Sequence number of the first packet (-1 = random)", kRandomSequence,
                                  G_MAXUINT16, kRandomSequence, kBeforePlaying));
    add_property(klass, kStats,
                 g_param_spec_boxed("stats", "Statistics",
                                    "Clock rate, SSRC, payload type and offsets of the stream, and number, "
                                    "timestamp and running time of the newest frame",
                                    GST_TYPE_STRUCTURE, kReadOnly));
}

void finalize(GObject* object) {
    delete of(object)->parts;
    G_OBJECT_CLASS(qlip_src_parent_class)->finalize(object);
}

}  // namespace

void qlip_src_class_init(QlipSrcClass* klass) {
    GST_DEBUG_CATEGORY_INIT(qlip_src_debug, "qlipsrc", 0, "RTP packets from 3GP files");
    auto* object = reinterpret_cast<GObjectClass*>(klass);
    object->set_property = set_property;
    object->get_property = get_property;
    object->finalize = finalize;
    add_properties(object);
    auto* element = reinterpret_cast<GstElementClass*>(klass);
    gst_element_class_add_static_pad_template(element, &source_template);
    gst_element_class_set_static_metadata(element, "3GP RTP source", "Source/File/Payloader/RTP",
                                          "Sends a track of a 3GP file, stored or arriving, as RTP packets",
                                          "The qlip project");
    gst_type_mark_as_plugin_api(track_type(), GstPluginAPIFlags(0));
    auto* base = reinterpret_cast<GstBaseSrcClass*>(klass);
    base->start = start;
    base->stop = stop;
    base->unlock = unlock;
    base->unlock_stop = unlock_stop;
    base->is_seekable = is_seekable;
    base->do_seek = do_seek;
    base->event = handle_event;
    base->negotiate = negotiate;
    reinterpret_cast<GstPushSrcClass*>(klass)->create = create;
}

void qlip_src_init(QlipSrc* src) {
    src->parts = new Parts();
    gst_base_src_set_format(GST_BASE_SRC(src), GST_FORMAT_TIME);
    gst_base_src_set_automatic_eos(GST_BASE_SRC(src), FALSE);
}

bool register_qlip_src(GstPlugin* plugin) {
    return gst_element_register(plugin, "qlipsrc", GST_RANK_NONE, qlip_src_get_type()) != FALSE;
}

}  // namespace qlip::gst
