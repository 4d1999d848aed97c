// The fields of the boxes that the library's box model reads, named and in readable units.
#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "boxes/box_walk.h"
#include "host/file_host.h"

namespace qlip_tool {

struct BoxField {
    std::string name;
    nlohmann::ordered_json value;
    std::string text;    // for people; the value when empty
    bool programs_only;  // for people another field says the same
};
using BoxFields = std::vector<BoxField>;

struct BoxContents {
    std::map<uint64_t, BoxFields> by_offset;  // of the box in the file
    std::string failure;                      // why reading stopped early, or empty
};

// The fields of `boxes`, those of the whole file. The box model ends the process on an MPEG-4 entry that
// holds something else than video. With `careful` it is tried in a process of its own first, and such a file
// gives no fields but a failure.
BoxContents read_box_fields(FileHost& host, const std::vector<BoxNode>& boxes, bool careful);

}  // namespace qlip_tool
