// The decoder configuration of an MPEG-4 visual stream (ISO/IEC 14496-2 6.2.2): a receiver finds it in front
// of every intra frame, and one that turns up in the stream replaces the one of the file.
#pragma once

#include "interface/src/mmfiInterface/video_reader.h"

// 1 if `data` holds the start code of an intra VOP, else 0.
int CheckForIFrame(unsigned char* data, int length);

// Position of the first start code with this code byte, or -1. The byte behind the code must be below 64,
// whatever the code: kept, for a VOP it is what tells intra frames from the others, and a configuration with
// a profile of 64 or more counts as none.
int FindStartCode(unsigned char* data, int length, char code);

// Logs the data at the debug level, ten bytes a line. Reads up to the end of the last line of ten.
void printInfo(unsigned char* data, int length);

namespace qlip {

// Gives the track room for any configuration that the stream may bring, so that reading need not allocate.
// False without memory.
[[nodiscard]] bool reserve_configuration(iso_track* track);

// Hooks of the video reader.
[[nodiscard]] int configure_sample(mm_Interface& session, int bytes);
[[nodiscard]] int configure_packet(VideoCall& call, int bytes);

}  // namespace qlip
