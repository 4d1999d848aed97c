// Frames of the kit as buffers.
#pragma once

#include <gst/gst.h>

#include "qlip/host.h"

namespace qlip::gst {

// Adds a buffer for each packet, with the time and the length of the whole frame on all of them. The packets
// are copied: the kit's are good until the next call, and buffers live as long as somebody downstream wants.
void add_buffers(GstBufferList* list, const qlip_frame& frame, GstClockTime time);

}  // namespace qlip::gst
