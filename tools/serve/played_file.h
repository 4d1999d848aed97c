// What a file has to offer to a client now.
#pragma once

#include <string>
#include <vector>

#include "qlip/host.h"

namespace qlip::serve {

enum class Playable { now, not_yet, never };

struct PlayedFile {
    Playable playable = Playable::never;
    std::string reason;               // why not now
    std::vector<qlip_medium> tracks;  // video first
    bool growing = false;
};

// Looks at the first frame of each track, so that nobody waits for one that has not arrived.
PlayedFile look_at(const std::string& path);

// Whether the file still grows: something of it is missing, and it changed a short while ago.
bool is_growing(const std::string& path);

}  // namespace qlip::serve
