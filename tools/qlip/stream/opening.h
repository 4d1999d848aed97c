// What both readers do before they open a file.
#pragma once

#include <cstdint>
#include <string>

#include "movie/file_state.h"
#include "stream/growth.h"

namespace qlip_tool {

struct Opening {
    std::string mode;  // "ra" or "rv"
    FileState state;
    bool delivers = false;     // the C entry points deliver a track
    bool hinted = false;       // which has a hint track
    uint64_t track_bytes = 0;  // of the samples of the track that is delivered
};

// Waits for the structure if the file is growing, chooses the mode where none is given, and looks at what the
// track claims. Throws ToolError when the structure does not arrive, or the file cannot hold what is claimed.
Opening prepare(FileHost& host, Growth& growth, const std::string& mode);

}  // namespace qlip_tool
