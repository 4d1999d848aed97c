#pragma once

#include "common/cleared_memory.h"
#include "qlip/isoff.h"

namespace qlip {

// isoFFrtpPacket into a place in `memory`, for callers that keep the limits themselves.
int next_packet(iso_track* hint, unsigned char* to, ClearedMemory& memory);

}  // namespace qlip
