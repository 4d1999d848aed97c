#include "second_reader/producers/video_header.h"

#include "formats/native_header.h"
#include "qlip/SimpleException.h"
#include "qlip/native_stream.h"
#include "second_reader/producers/frame_buffer.h"
#include "second_reader/producers/video_texts.h"

namespace qlip {

namespace {

// What the offset table was filled with; asking GetCodecHeaderSize again would log again.
unsigned int codec_header_bytes(const PropFileVideo& file) {
    return file.m_uFileInfoOffset - file.m_uCodecConfigOffset;
}

}  // namespace

unsigned int write_video_header(PropFileVideo& file, const _TAG_VIDEO_OPEN_PARAMS& params) {
    const unsigned int bytes = codec_header_bytes(file) + kVideoHeaderBytes;
    const unsigned int padding = file.GetPadding(bytes);
    if (bytes + padding > file.m_uBufferBytes) {
        throw SimpleException(kVideoTexts.path, __LINE__,
                              "Stream header of %d bytes does not fit the frame buffer of %d bytes",
                              bytes + padding, file.m_uBufferBytes);
    }
    PROP_Header_Info prop{{}, bytes + padding, kStreamVersion, padding, params.uFrameCount};
    std::memcpy(prop.type, pTypeVid, sizeof prop.type);
    put_record(file.m_pBuffer + file.m_uPropHeaderOffset, prop);
    put_record(file.m_pBuffer + file.m_uNtsInfoOffset,
               VID_Header_NTSInfo{{params.uVideoNTS, params.uAudioNTS}});
    put_record(file.m_pBuffer + file.m_uIndexInfoOffset, VID_Header_IndxInfo{});
    put_record(file.m_pBuffer + file.m_uFileInfoOffset, VID_FileInfo{params.uLengthMs, {}});
    return prop.header_size;
}

void write_codec_info(PropFileVideo& file, const char* name, const _TAG_VIDEO_OPEN_PARAMS& params) {
    VID_Header_CodecInfo info{{},
                              PropFile::To1616(params.dFramesPerSecond),
                              params.uBitRate,
                              params.uWidth,
                              params.uHeight,
                              codec_header_bytes(file)};
    std::memcpy(info.name, name, std::strlen(name));
    put_record(file.m_pBuffer + file.m_uCodecInfoOffset, info);
}

void write_h263_config(PropFileVideo& file, const _TAG_VIDEO_OPEN_PARAMS& params) {
    put_record(file.m_pBuffer + file.m_uCodecConfigOffset,
               VID_Header_H263CodecConfig{params.uH263Profile, params.uH263Level});
}

}  // namespace qlip
