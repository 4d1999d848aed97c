// H.264 parameter sets as packet records.
#pragma once

#include "qlip/wld_native.h"
#include "stream/record_sink.h"

struct iso_track;

namespace qlip {

// Writes one record per stored set. Stops at a set whose length points outside. False when a set does not
// fit; those before it are written.
[[nodiscard]] bool put_parameter_sets(record_sink& sink, wld_native& native);

// isoFFgetAvccDsi for a buffer of `room` bytes: sets that do not fit are left out. Returns the bytes written.
int put_hinted_parameter_sets(iso_track* hint, iso_track* media, int payload_type, unsigned char* out,
                              int room);

}  // namespace qlip
