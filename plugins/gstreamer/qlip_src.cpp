#include "plugins/gstreamer/qlip_src.h"

#include "plugins/gstreamer/element.h"
#include "plugins/gstreamer/failures.h"
#include "plugins/gstreamer/seeking.h"
#include "plugins/gstreamer/streaming.h"

GstDebugCategory* qlip_src_debug = nullptr;

namespace qlip::gst {
namespace {

GstStaticPadTemplate source_template =
    GST_STATIC_PAD_TEMPLATE("src", GST_PAD_SRC, GST_PAD_ALWAYS, GST_STATIC_CAPS("application/x-rtp"));

}  // namespace

G_DEFINE_TYPE(QlipSrc, qlip_src, GST_TYPE_PUSH_SRC)

namespace {

void pass_on_growing(Parts& parts, bool growing) {
    const std::lock_guard lock(parts.source_lock);
    if (parts.source_open) parts.track.set_growing(growing);
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* param) {
    Parts& parts = *of(object)->parts;
    GST_OBJECT_LOCK(object);
    const bool known = set_setting(parts.settings, id, value);
    GST_OBJECT_UNLOCK(object);
    if (!known) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param);
    if (id == kGrowing) pass_on_growing(parts, g_value_get_boolean(value) != FALSE);
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* param) {
    const Parts& parts = *of(object)->parts;
    GST_OBJECT_LOCK(object);
    const bool known = get_setting(parts.settings, parts.stats, id, value);
    GST_OBJECT_UNLOCK(object);
    if (!known) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, param);
}

void close_source(Parts& parts) {
    const std::lock_guard lock(parts.source_lock);
    parts.source_open = false;
    parts.track.close();
}

// What libqlip says about the file goes to the log.
void log_line(int level, const char* text, void* src) {
    const GstDebugLevel levels[] = {GST_LEVEL_DEBUG, GST_LEVEL_WARNING, GST_LEVEL_INFO};
    GST_CAT_LEVEL_LOG(GST_CAT_DEFAULT,
                      levels[level == QLIP_LINE_ERROR || level == QLIP_LINE_WARNING ? level : 0],
                      static_cast<QlipSrc*>(src), "%s", text);
}

qlip_limits limits_of(QlipSrc* src, const Settings& settings) {
    qlip_limits limits = QLIP_LIMITS_INIT;
    limits.memory = settings.max_memory;
    limits.boxes = settings.max_boxes;
    limits.samples = settings.max_samples;
    limits.line = log_line;
    limits.user = src;
    return limits;
}

int open_source(QlipSrc* src, const Settings& settings, std::string& reason) {
    Parts& parts = *src->parts;
    const std::lock_guard lock(parts.source_lock);
    const int status = parts.track.open_source(settings.location.c_str(), settings.growing,
                                               limits_of(src, settings), reason);
    parts.source_open = status == QLIP_SUCCESS;
    return status;
}

gboolean start(GstBaseSrc* base) {
    QlipSrc* src = of(base);
    Parts& parts = *src->parts;
    const Settings settings = settings_of(src);
    std::string reason;
    const int status = open_source(src, settings, reason);
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

gboolean is_seekable(GstBaseSrc* base) {
    return of(base)->parts->track.is_open();
}

gboolean handle_event(GstBaseSrc* base, GstEvent* event) {
    if (GST_EVENT_TYPE(event) == GST_EVENT_SEEK && leads_too_far(of(base), event)) {
        GST_INFO_OBJECT(base, "refused: the place has not arrived yet");
        return FALSE;
    }
    return GST_BASE_SRC_CLASS(qlip_src_parent_class)->event(base, event);
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
