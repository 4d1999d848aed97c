// Opening a file for one stream out of many.
#pragma once

#include "qlip/isoff.h"
#include "qlip/limits.h"

namespace qlip {

// isoFFopen and isoFFopenLimited for reading, with an arena that begins small, so that a session takes little
// more than the tables of its file.
iso_file* open_for_stream(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io);
iso_file* open_for_stream(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, const qlip_limits* limits, int* err);

}  // namespace qlip
