// The top level of a file (ISO/IEC 14496-12 4.2), as far as it is there: where moov stands and whether it is
// whole.
#pragma once

#include <cstdint>

#include "kit/source.h"

namespace qlip::kit {

struct Structure {
    int status = QLIP_SUCCESS;  // 16 or 17 when the source refused to be read
    bool whole = false;
    bool contradictory = false;  // sizes that do not fit into each other
    bool fragmented = false;     // moov announces movie fragments
    bool media_first = false;
    uint64_t offset = 0, size = 0;  // of moov
    uint64_t needed = 0;            // how long the file must be for more to be known, or for moov to be whole
};

Structure look_at_structure(Source& source);

}  // namespace qlip::kit
