#include "plugins/gstreamer/seeking.h"

#include "plugins/gstreamer/streaming.h"

namespace qlip::gst {
namespace {

// GStreamer's server takes the number of the first packet for RTP-Info from here.
void note_first(QlipSrc* src, const qlip_frame& frame) {
    GST_OBJECT_LOCK(src);
    src->parts->stats.first_sequence = frame.sequence;
    GST_OBJECT_UNLOCK(src);
}

}  // namespace

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

}  // namespace qlip::gst
