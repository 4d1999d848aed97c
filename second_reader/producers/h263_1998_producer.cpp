#include "common/log.h"
#include "qlip/native_stream.h"
#include "qlip/propfile.h"
#include "second_reader/producers/video_header.h"

namespace {

constexpr const char* kPath = "propfile/src/propfile_video_h263_1998";

}  // namespace

PropFileVideoH263_1998::PropFileVideoH263_1998(C3gpInterface* pInterface) : PropFileVideo(pInterface) {}

unsigned int PropFileVideoH263_1998::GetCodecHeaderSize() {
    constexpr unsigned int kBytes = sizeof(VID_Header_H263CodecConfig);
    QLIP_LOG_DEBUG(kPath, "Codec header size: %d", kBytes);
    return kBytes;
}

bool PropFileVideoH263_1998::SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) {
    QLIP_LOG_DEBUG(kPath, "Setting up H263_1998 headers");
    qlip::write_codec_info(*this, "s263+", *pParams);
    qlip::write_h263_config(*this, *pParams);
    return true;
}
