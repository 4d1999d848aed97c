#include "common/log.h"
#include "qlip/native_stream.h"
#include "qlip/propfile.h"
#include "second_reader/producers/video_header.h"

namespace {

constexpr const char* kPath = "propfile/src/propfile_video_h263";

}  // namespace

PropFileVideoH263::PropFileVideoH263(C3gpInterface* pInterface) : PropFileVideo(pInterface) {}

unsigned int PropFileVideoH263::GetCodecHeaderSize() {
    constexpr unsigned int kBytes = sizeof(VID_Header_H263CodecConfig);
    QLIP_LOG_DEBUG(kPath, "Codec header size: %d", kBytes);
    return kBytes;
}

bool PropFileVideoH263::SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) {
    QLIP_LOG_DEBUG(kPath, "Setting up H263 headers");
    qlip::write_codec_info(*this, "s263", *pParams);
    qlip::write_h263_config(*this, *pParams);
    return true;
}
