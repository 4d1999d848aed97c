// What stands behind qlip_ReadChunk: the choice of the reader, and the progress report to the host.
#include "common/log.h"
#include "interface/src/mmfiInterface/session.h"
#include "interface/src/qliputil.h"

namespace {

constexpr const char* kPath = qlip::kSessionPath;

}  // namespace

int mmfi_Read(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) {
    if (session == nullptr) throw SimpleException(kPath, __LINE__, "ReadChunk(): NULL pointer error.");
    session->status = QLIP_SUCCESS;
    switch (session->track->codec) {
        case ISO_CODEC_SAMR:
            return mmfi_Read_AMRNB(session, buffer, size, indexed);
        case ISO_CODEC_SAWB:
            return mmfi_Read_AMRWB(session, buffer, size, indexed);
        case ISO_CODEC_MP4V:
            return mmfi_Read_MPEG4(session, buffer, size, indexed);
        case ISO_CODEC_S263:
            return mmfi_Read_H263(session, buffer, size, indexed);
        case ISO_CODEC_AVC1:
            return mmfi_Read_H264(session, buffer, size, indexed);
        default:
            return QLIP_FAILURE;
    }
}

int mmfi_seek(iso_track* track, unsigned int offset) {
    iso_file* file = track->file;
    const unsigned short status = file->indexed_read != 0 ? qliputil_advanceread(file->io, offset)
                                                          : qliputil_seek(file->io, static_cast<int>(offset));
    if (status == 0) return QLIP_SUCCESS;
    QLIP_LOG_DEBUG(kPath, "IO Callback Interface failed with status %d offset %x", status, offset);
    return QLIP_FAILURE;
}
