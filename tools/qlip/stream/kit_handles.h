// The host kit's handles, with owners.
#pragma once

#include <memory>

#include "qlip/host.h"

namespace qlip_tool {

struct CloseKitHandle {
    void operator()(qlip_source* source) const { qlip_source_close(&source); }
    void operator()(qlip_stream* stream) const { qlip_stream_close(&stream); }
};
using KitSource = std::unique_ptr<qlip_source, CloseKitHandle>;
using KitStream = std::unique_ptr<qlip_stream, CloseKitHandle>;

}  // namespace qlip_tool
