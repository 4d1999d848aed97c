// The file-level header of the video stream.
#pragma once

#include "qlip/propfile.h"

namespace qlip {

// All but the codec's part. Throws SimpleException when the buffer cannot hold the header. Returns
// header_size.
unsigned int write_video_header(PropFileVideo& file, const _TAG_VIDEO_OPEN_PARAMS& params);

// The codec's part: VID_Header_CodecInfo, and the configuration record of both H.263 forms.
void write_codec_info(PropFileVideo& file, const char* name, const _TAG_VIDEO_OPEN_PARAMS& params);
void write_h263_config(PropFileVideo& file, const _TAG_VIDEO_OPEN_PARAMS& params);

}  // namespace qlip
