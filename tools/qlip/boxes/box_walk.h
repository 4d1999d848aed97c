// The boxes of a file as they lie in it (ISO/IEC 14496-12 4.2): type, offset, size and nesting, with a word
// on everything that does not fit. It asks nothing of the contents, so it also shows files that nothing else
// reads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/file_host.h"

namespace qlip_tool {

struct BoxNode {
    std::string type;  // four characters
    uint64_t offset;
    uint64_t size;      // as far as it reaches inside its parent
    std::string fault;  // what is wrong with it, or empty
    std::vector<BoxNode> children;
    bool is_padding =
        false;  // zeros or less than a header at the end of its parent: nothing that readers mind
};

std::vector<BoxNode> walk_boxes(FileHost& host);

// Those between two offsets.
std::vector<BoxNode> walk_boxes(FileHost& host, uint64_t at, uint64_t end);

}  // namespace qlip_tool
