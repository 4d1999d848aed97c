#pragma once

#include "iso/read/walk.h"

namespace qlip {

// Walks the boxes behind the fixed fields of a sample entry. Entries without any are common (AMR-WB), so an
// empty rest means just that, and is not walked to the end as a container is.
inline int parse_entry_children(iso_file* file, isobox* table, int rest) {
    return rest > 0 ? parse(file, table, rest) : 0;
}

}  // namespace qlip
