// The element's instance, for those files that it is made of.
#pragma once

#include <gst/base/gstpushsrc.h>

#include <condition_variable>
#include <mutex>
#include <string>

#include "plugins/gstreamer/settings.h"
#include "plugins/gstreamer/track.h"

extern GstDebugCategory* qlip_src_debug;
#define GST_CAT_DEFAULT qlip_src_debug

namespace qlip::gst {

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

struct QlipSrc {
    GstPushSrc parent;
    Parts* parts;
};

struct QlipSrcClass {
    GstPushSrcClass parent;
};

inline QlipSrc* of(void* object) {
    return static_cast<QlipSrc*>(object);
}

inline Settings settings_of(QlipSrc* src) {
    GST_OBJECT_LOCK(src);
    Settings settings = src->parts->settings;
    GST_OBJECT_UNLOCK(src);
    return settings;
}

}  // namespace qlip::gst
