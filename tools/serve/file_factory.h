// Makes the pipeline of a file for each client that plays it.
#pragma once

#include <gst/rtsp-server/rtsp-server.h>

#include <string>

namespace qlip::serve {

GstRTSPMediaFactory* new_file_factory(const std::string& path);

}  // namespace qlip::serve
