// Where playing goes on.
#pragma once

#include "plugins/gstreamer/element.h"

namespace qlip::gst {

// Of GstBaseSrcClass.
gboolean do_seek(GstBaseSrc* base, GstSegment* segment);

// Whether a seek leads to what a growing file does not have yet. It is refused before anything is flushed:
// the caller could wait long for the first frame. From any thread.
bool leads_too_far(QlipSrc* src, GstEvent* event);

}  // namespace qlip::gst
