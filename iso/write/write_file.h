// What isoFFclose does for a file that was opened for writing.
#pragma once

#include "qlip/isoff.h"

// The whole write at close. 0, or -1 when a write failed (ISO_STATUS_WRITE_FAILED is then set).
int write_file(iso_file* file);
