#include "plugins/gstreamer/settings.h"

namespace qlip::gst {
namespace {

constexpr auto kSet = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);
constexpr auto kBeforePlaying = static_cast<GParamFlags>(kSet | GST_PARAM_MUTABLE_READY);
constexpr auto kAlways = static_cast<GParamFlags>(kSet | GST_PARAM_MUTABLE_PLAYING);
constexpr auto kReadOnly = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);

GType track_type() {
    static const GEnumValue values[] = {{QLIP_AUDIO, "The last audio track of a supported codec", "audio"},
                                        {QLIP_VIDEO, "The last video track of a supported codec", "video"},
                                        {0, nullptr, nullptr}};
    static const GType type = g_enum_register_static("QlipSrcTrack", values);
    return type;
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

void add_property(GObjectClass* klass, Property id, GParamSpec* param) {
    g_object_class_install_property(klass, id, param);
}

void add_limit(GObjectClass* klass, Property id, const char* name, const char* nick, const char* blurb) {
    add_property(klass, id, g_param_spec_uint64(name, nick, blurb, 0, G_MAXUINT64, 0, kBeforePlaying));
}

}  // namespace

void add_properties(GObjectClass* klass) {
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
    add_limit(klass, kMaxMemory, "max-memory", "Most memory",
              "Bytes that the structure of the file may take (0 = any number)");
    add_limit(klass, kMaxBoxes, "max-boxes", "Most boxes",
              "Boxes that the structure of the file may have (0 = any number)");
    add_limit(klass, kMaxSamples, "max-samples", "Most samples",
              "Samples that a track of the file may have (0 = any number)");
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
    gst_type_mark_as_plugin_api(track_type(), GstPluginAPIFlags(0));
}

bool set_setting(Settings& settings, guint id, const GValue* value) {
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
        case kMaxMemory:
            settings.max_memory = g_value_get_uint64(value);
            break;
        case kMaxBoxes:
            settings.max_boxes = g_value_get_uint64(value);
            break;
        case kMaxSamples:
            settings.max_samples = g_value_get_uint64(value);
            break;
        case kTimestampOffset:
            settings.timestamp_offset = g_value_get_uint(value);
            break;
        case kSequenceOffset:
            settings.sequence_offset = g_value_get_int(value);
            break;
        default:
            return false;
    }
    return true;
}

bool get_setting(const Settings& settings, const Stats& stats, guint id, GValue* value) {
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
        case kMaxMemory:
            g_value_set_uint64(value, settings.max_memory);
            break;
        case kMaxBoxes:
            g_value_set_uint64(value, settings.max_boxes);
            break;
        case kMaxSamples:
            g_value_set_uint64(value, settings.max_samples);
            break;
        case kTimestampOffset:
            g_value_set_uint(value, settings.timestamp_offset);
            break;
        case kSequenceOffset:
            g_value_set_int(value, settings.sequence_offset);
            break;
        case kStats:
            g_value_take_boxed(value, structure_of(stats));
            break;
        default:
            return false;
    }
    return true;
}

}  // namespace qlip::gst
