// A track through the host kit, for the checks.
#pragma once

#include "stream/kit_handles.h"

namespace qlip_tool {

// Null with the status in *status. With `chunks` it is read as a native stream.
inline KitStream open_stream(const KitSource& source, qlip_medium medium, int* status, bool chunks = false) {
    qlip_stream* stream = nullptr;
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.chunks = chunks ? 1 : 0;
    *status = source ? qlip_stream_open(&stream, source.get(), medium, &options) : QLIP_FAILURE;
    return KitStream(stream);
}

}  // namespace qlip_tool
