// The table-driven walk of the box tree (ISO/IEC 14496-12). A table holds the children that a container may
// have, in rows of a four-character code and a handler; a row without a name closes it, and its handler,
// where there is one, takes all other boxes.
//
// A handler gets the payload size and stands at the first payload byte. Its result is 0 to go on, 1 to end
// the walk around it with success, anything else to end it with that value. It need not consume its payload
// exactly: the walk goes on where the reader stands.
#pragma once

#include "qlip/isoff.h"

struct isobox {
    const char* name;
    int (*handler)(iso_file* file, int size);
};

// Walks the boxes in the next `size` bytes, or to the end of the input when that is 0. 0, a handler's result,
// or -1.
int parse(iso_file* file, isobox* table, int size);

// Walks the top level of the file. 0, or -1.
int read_header(iso_file* file);
