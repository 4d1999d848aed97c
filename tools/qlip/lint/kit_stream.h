// The host kit's handles, with owners.
#pragma once

#include <memory>

#include "qlip/host.h"

namespace qlip_tool {

struct CloseSource {
    void operator()(qlip_source* source) const { qlip_source_close(&source); }
};
struct CloseStream {
    void operator()(qlip_stream* stream) const { qlip_stream_close(&stream); }
};
using KitSource = std::unique_ptr<qlip_source, CloseSource>;
using KitStream = std::unique_ptr<qlip_stream, CloseStream>;

// Null with the status in *status. With `chunks` it is read as a native stream.
inline KitStream open_stream(const KitSource& source, qlip_medium medium, int* status, bool chunks = false) {
    qlip_stream* stream = nullptr;
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.chunks = chunks ? 1 : 0;
    *status = source ? qlip_stream_open(&stream, source.get(), medium, &options) : QLIP_FAILURE;
    return KitStream(stream);
}

}  // namespace qlip_tool
