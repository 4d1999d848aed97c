// Frames of the kit as buffers.
#pragma once

#include <gst/gst.h>

#include "plugins/gstreamer/track.h"

namespace qlip::gst {

// Adds a buffer for each packet of the frame that was read last, with the time and the length of the whole
// frame on all of them. Their memory is the kit's own, which each of them holds for as long as it lives.
void add_buffers(GstBufferList* list, Track& track, const qlip_frame& frame, GstClockTime time);

}  // namespace qlip::gst
