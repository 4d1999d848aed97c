// The streaming thread: from the stream to buffer lists, and what comes in their place.
#pragma once

#include "plugins/gstreamer/element.h"

namespace qlip::gst {

// 0, or 17 while the structure of a growing file is on its way, or a failure that was reported.
int open_stream(QlipSrc* src);

// The next frame that does not end before the segment begins.
int read_frame(Parts& parts, const qlip_frame** frame);

// A frame that was read ahead is not sent.
void forget_ahead(Parts& parts);

// A server says in RTP-Info which packet comes first and which timestamp the segment begins with (RFC
// 2326 12.33), which the frame may do a little before it.
void note(QlipSrc* src, const qlip_frame& frame, const GstSegment& segment);

// Of GstBaseSrcClass and GstPushSrcClass.
gboolean negotiate(GstBaseSrc* base);
GstFlowReturn create(GstPushSrc* push, GstBuffer** buffer);

}  // namespace qlip::gst
