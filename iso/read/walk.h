// The table-driven walk of the box tree (ISO/IEC 14496-12). A table holds the children that a container may
// have, in rows of a four-character code and a handler; a row without a name closes it, and its handler,
// where there is one, takes all other boxes.
//
// A handler gets the payload size and stands at the first payload byte. It need not consume its payload
// exactly: the walk goes on where the reader stands.
#pragma once

#include "qlip/isoff.h"

namespace qlip {

// Results of a handler. Any other value ends the walk around it with that value.
enum BoxResult : int {
    kGoOn = 0,
    kStopWell = 1,  // ends the walk around it with success
    kRefuse = -1    // ends the parse; what was read so far stays
};

enum class BoxOwner : unsigned char {
    File,
    Track  // refused ahead of any tkhd: such a box has nowhere to go
};

}  // namespace qlip

struct isobox {
    const char* name;
    int (*handler)(iso_file* file, int size);
    qlip::BoxOwner owner = qlip::BoxOwner::File;
};

// Walks the boxes in the next `size` bytes, or to the end of the input when that is 0. 0, a handler's result,
// or kRefuse.
int parse(iso_file* file, isobox* table, int size);

// Walks the top level of the file. 0, or -1.
int read_header(iso_file* file);
