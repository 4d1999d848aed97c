#include "plugins/gstreamer/streaming.h"

#include <chrono>
#include <string>

#include "plugins/gstreamer/failures.h"
#include "plugins/gstreamer/frame_buffers.h"

namespace qlip::gst {
namespace {

constexpr std::chrono::milliseconds kLookAgain{20};  // whether a growing file has grown
constexpr GstClockTime kLinger = 250 * GST_MSECOND;  // between the last frame and the end of stream
constexpr unsigned int kMostDamagedFrames = 32;

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

// Until what the track needs has arrived. False when somebody wants the thread.
bool wait_for_bytes(Parts& parts) {
    GST_LOG("waiting for the file to grow");
    std::unique_lock lock(parts.wait_lock);
    while (!parts.flushing && !parts.track.can_go_on())
        parts.wait_end.wait_for(lock, kLookAgain);
    return !parts.flushing;
}

void note_last(QlipSrc* src, const qlip_frame& frame) {
    GST_OBJECT_LOCK(src);
    src->parts->stats.sequence = static_cast<uint16_t>(frame.sequence + frame.packet_count - 1);
    GST_OBJECT_UNLOCK(src);
}

bool set_caps(QlipSrc* src) {
    GstCaps* caps = gst_caps_from_string(src->parts->track.caps().c_str());
    const bool taken = caps && gst_base_src_set_caps(GST_BASE_SRC(src), caps);
    gst_clear_caps(&caps);
    return taken;
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
    add_buffers(list, parts.track, frame, time);
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

}  // namespace

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

void forget_ahead(Parts& parts) {
    parts.ahead = nullptr;
    parts.ahead_status = QLIP_SUCCESS;
}

void note(QlipSrc* src, const qlip_frame& frame, const GstSegment& segment) {
    const GstClockTime time = src->parts->track.on_timeline(frame.presentation_time);
    const GstClockTime from = MAX(time, segment.start);
    GST_OBJECT_LOCK(src);
    Stats& stats = src->parts->stats;
    stats.timestamp = frame.timestamp +
                      static_cast<uint32_t>(gst_util_uint64_scale(from - time, stats.clock_rate, GST_SECOND));
    GST_OBJECT_UNLOCK(src);
}

// A growing file's stream may still have to be opened, which the first frame does.
gboolean negotiate(GstBaseSrc* base) {
    return !of(base)->parts->track.is_open() || set_caps(of(base));
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

}  // namespace qlip::gst
