// The records of a native stream as names and values, for showing them.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "stream/stream_reader.h"

namespace qlip_tool {

struct ShownRecord {
    const char* name;
    uint64_t offset;
    size_t size;
    nlohmann::ordered_json fields;
};

std::vector<ShownRecord> show_header(const StreamHeader& header);

// The frame's own records, and one for each packet. `with_payload` adds the payload in hexadecimal digits.
std::vector<ShownRecord> show_frame(const StreamHeader& header, const Frame& frame, bool with_payload);

}  // namespace qlip_tool
