// Making and opening the one producer of the mode.
#include <new>

#include "second_reader/support.h"

using qlip::kReaderPath;

namespace {

PropFileVideo* make_video_producer(unsigned int codec, C3gpInterface* owner) {
    switch (codec) {
        case qlip::kCodecH263_1998:
            QLIP_LOG_DEBUG(kReaderPath, "Creating H263_1998 object");
            return new (std::nothrow) PropFileVideoH263_1998(owner);
        case qlip::kCodecH263:
            QLIP_LOG_DEBUG(kReaderPath, "Creating H263 object");
            return new (std::nothrow) PropFileVideoH263(owner);
        case qlip::kCodecMpeg4:
            QLIP_LOG_DEBUG(kReaderPath, "Creating MPEG4 object");
            return new (std::nothrow) PropFileVideoMPEG4(owner);
        default:
            return nullptr;
    }
}

// Opens it. One that is left without a buffer found no memory for it.
template <class Producer, class Params>
void open_producer(Producer& producer, Params& params, unsigned int& status, const char* kind) {
    try {
        if (producer.Open(&params)) return;
    } catch (...) {
        if (!producer.m_pBuffer) status = QLIP_NO_MEMORY;
        throw;
    }
    status = QLIP_FAILURE;
    throw SimpleException(kReaderPath, __LINE__, "Error opening %s object", kind);
}

}  // namespace

void C3gpInterface::CreateFileObjects() {
    if (m_uMode == qlip::kModeAudio)
        CreateAudioObject();
    else
        CreateVideoObject();
}

void C3gpInterface::CreateVideoObject() {
    m_pVideoFile = make_video_producer(m_uVideoCodec, this);
    if (!m_pVideoFile) {
        m_uStatus = QLIP_NO_MEMORY;
        throw SimpleException(kReaderPath, __LINE__, "Unable to create video file object");
    }
    QLIP_LOG_DEBUG(kReaderPath, "Opening video object");
    m_VideoParams.uMaxFrameBytes = m_uMaxVideoFrameBytes;
    open_producer(*m_pVideoFile, m_VideoParams, m_uStatus, "video");
}

void C3gpInterface::CreateAudioObject() {
    m_pAudioFile = new (std::nothrow) PropFileAudio(this);
    if (!m_pAudioFile) {
        m_uStatus = QLIP_NO_MEMORY;
        throw SimpleException(kReaderPath, __LINE__, "Unable to create audio file object");
    }
    open_producer(*m_pAudioFile, m_AudioParams, m_uStatus, "audio");
}
