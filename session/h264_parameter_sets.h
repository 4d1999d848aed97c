// The parameter sets of a hinted H.264 stream: they go out as packets of their own (RFC 3984 5.6) at the
// start of the stream and in front of each later IDR frame, and the packets behind them are renumbered.
#pragma once

#include "session/video_reader.h"

namespace qlip {

// Hooks of the video reader.
[[nodiscard]] bool open_with_parameter_sets(VideoCall& call);
[[nodiscard]] int precede_idr_packet(VideoCall& call, int bytes);

}  // namespace qlip
