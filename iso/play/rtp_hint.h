#pragma once

#include "qlip/isoff.h"

namespace qlip {

// isoFFrtpPacket, for callers that keep the limits themselves.
int next_packet(iso_track* hint, void* buf);

}  // namespace qlip
