// JSON as text.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace qlip_tool {

// Bytes that are no UTF-8, as file names may hold them, are replaced.
inline std::string json_text(const nlohmann::ordered_json& value, int indent = -1) {
    return value.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace qlip_tool
