// A frame of the kit as a list of buffers.
#pragma once

#include <gst/gst.h>

#include "qlip/host.h"

namespace qlip::gst {

// A buffer for each packet, with the time and the length of the whole frame on all of them. The packets are
// copied: the kit's are good until the next call, and buffers live as long as somebody downstream wants.
GstBufferList* list_of_buffers(const qlip_frame& frame, GstClockTime time);

}  // namespace qlip::gst
