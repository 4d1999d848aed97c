// The element qlipsrc: one track of a 3GP file as RTP packets.
#pragma once

#include <gst/gst.h>

namespace qlip::gst {

GType qlip_src_get_type();

// Makes the element known as "qlipsrc": to the process, or as part of `plugin`.
bool register_qlip_src(GstPlugin* plugin);

}  // namespace qlip::gst
