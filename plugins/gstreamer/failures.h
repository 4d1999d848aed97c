// What goes wrong, as messages on the bus.
#pragma once

#include <string>

#include "plugins/gstreamer/element.h"

namespace qlip::gst {

// Statuses of qlip_source_path, qlip_stream_open and qlip_stream_read.
void report_no_source(QlipSrc* src, int status, const Settings& settings, const std::string& reason);
void report_no_stream(QlipSrc* src, int status, const std::string& path, const std::string& reason);
void report_failed_read(QlipSrc* src, int status, const std::string& why);

}  // namespace qlip::gst
