// The decoder configuration of an MPEG-4 visual stream (ISO/IEC 14496-2 6.2.2): a receiver finds it in front
// of every intra frame, and one that turns up in the stream replaces the one of the file.
#pragma once

#include "session/video_reader.h"

namespace qlip {

// Gives the track room for any configuration that the stream may bring, so that reading need not allocate.
// False without memory.
[[nodiscard]] bool reserve_configuration(iso_track* track);

// Hooks of the video reader.
[[nodiscard]] int configure_sample(mm_Interface& session, int bytes);
[[nodiscard]] int configure_packet(VideoCall& call, int bytes);

}  // namespace qlip
