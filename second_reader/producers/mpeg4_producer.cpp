#include <cstring>

#include "common/log.h"
#include "formats/mpeg4_visual.h"
#include "qlip/native_stream.h"
#include "qlip/propfile.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/video_header.h"

namespace {

constexpr const char* kPath = "propfile/src/propfile_video_mpeg4";

VID_Header_MPEG4CodecConfig config_record(const unsigned char* config, unsigned int bytes) {
    VID_Header_MPEG4CodecConfig record{};
    if (bytes > sizeof record.config) {
        throw SimpleException(kPath, __LINE__, "Decoder configuration of %d bytes is too long", bytes);
    }
    if (bytes > 0 && config) std::memcpy(record.config, config, bytes);
    record.profile_level = qlip::mpeg4_profile_level(record.config);  // shorter ones end in zeros
    record.config_size = static_cast<unsigned short>(bytes);
    return record;
}

}  // namespace

PropFileVideoMPEG4::PropFileVideoMPEG4(C3gpInterface* pInterface) : PropFileVideo(pInterface) {}

unsigned int PropFileVideoMPEG4::GetCodecHeaderSize() {
    constexpr unsigned int kBytes = sizeof(VID_Header_MPEG4CodecConfig);
    QLIP_LOG_DEBUG(kPath, "Codec header size: %d", kBytes);
    return kBytes;
}

bool PropFileVideoMPEG4::SetupCodecHeaders(_TAG_VIDEO_OPEN_PARAMS* pParams) {
    QLIP_LOG_DEBUG(kPath, "Setting up MPEG4 headers");
    qlip::write_codec_info(*this, "mp4v", *pParams);
    qlip::put_record(m_pBuffer + m_uCodecConfigOffset, config_record(pParams->pConfig, pParams->uConfigSize));
    return true;
}
