// What GStreamer looks for in libgstqlip.so.
#include "plugins/gstreamer/qlip_src.h"

#define PACKAGE "qlip"

static gboolean init(GstPlugin* plugin) {
    return qlip::gst::register_qlip_src(plugin);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, qlip, "RTP packets from 3GP files", init,
                  QLIP_PLUGIN_VERSION, GST_LICENSE_UNKNOWN, PACKAGE, "Unknown package origin")
