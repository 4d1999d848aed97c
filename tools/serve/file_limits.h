// What a file may ask for, since strangers may have made it.
#pragma once

#include "qlip/host.h"

namespace qlip::serve {

// Films of a day have some 50 boxes, three million pictures, and tables of 50 MB, which each client costs.
inline qlip_limits file_limits() {
    qlip_limits limits = QLIP_LIMITS_INIT;
    limits.memory = 64 * 1024 * 1024;
    limits.boxes = 10000;
    limits.samples = 10000000;
    return limits;
}

}  // namespace qlip::serve
