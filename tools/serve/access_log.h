// A line on standard error for each request.
#pragma once

#include <gst/rtsp-server/rtsp-server.h>

namespace qlip::serve {

// From now on, of this client: time, address, method, URL, status, session and program. What clients choose
// is cut and escaped, so that a request is one line.
void log_requests_of(GstRTSPClient* client);

}  // namespace qlip::serve
