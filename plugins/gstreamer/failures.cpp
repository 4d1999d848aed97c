#include "plugins/gstreamer/failures.h"

namespace qlip::gst {

void report_no_source(QlipSrc* src, int status, const Settings& settings, const std::string& reason) {
    const char* path = settings.location.c_str();
    if (settings.location.empty()) {
        GST_ELEMENT_ERROR(src, RESOURCE, NOT_FOUND, ("No file: the property location is not set."),
                          (nullptr));
    } else if (status == QLIP_NO_SUCH_FILE) {
        GST_ELEMENT_ERROR(src, RESOURCE, NOT_FOUND, ("Cannot open %s: %s.", path, reason.c_str()), (nullptr));
    } else {
        GST_ELEMENT_ERROR(src, RESOURCE, OPEN_READ, ("Cannot read %s: %s.", path, reason.c_str()), (nullptr));
    }
}

void report_no_stream(QlipSrc* src, int status, const std::string& path, const std::string& reason) {
    const char *file = path.c_str(), *why = reason.c_str();
    if (status == QLIP_NO_SUCH_TRACK)
        GST_ELEMENT_ERROR(src, STREAM, WRONG_TYPE, ("Cannot play %s: %s.", file, why), (nullptr));
    else if (status == QLIP_UNKNOWN_CODER)
        GST_ELEMENT_ERROR(src, STREAM, CODEC_NOT_FOUND, ("Cannot play %s: %s.", file, why), (nullptr));
    else if (status == QLIP_IO_CALLBACK_FAILED)
        GST_ELEMENT_ERROR(src, RESOURCE, READ, ("Cannot read %s: %s.", file, why), (nullptr));
    else
        GST_ELEMENT_ERROR(src, STREAM, DEMUX, ("Cannot play %s: %s.", file, why), ("status %d", status));
}

void report_failed_read(QlipSrc* src, int status, const std::string& why) {
    if (status == QLIP_IO_CALLBACK_FAILED)
        GST_ELEMENT_ERROR(src, RESOURCE, READ, ("Cannot read on: %s.", why.c_str()), (nullptr));
    else
        GST_ELEMENT_ERROR(src, STREAM, DEMUX, ("The file is damaged: %s.", why.c_str()),
                          ("status %d", status));
}

}  // namespace qlip::gst
