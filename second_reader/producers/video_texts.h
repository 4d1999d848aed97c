#pragma once

#include "second_reader/producers/frame_buffer.h"

namespace qlip {

inline constexpr ProducerTexts kVideoTexts{"propfile/src/propfile_video", "video", "Video",
                                           "caught uint exception from ProcessPacket(). Rethrowing..."};

}  // namespace qlip
