// What stands behind qlip_ReadChunk: the choice of the reader, and the progress report to the host.
#include <array>

#include "common/log.h"
#include "session/progress.h"

namespace {

constexpr const char* kPath = qlip::kSessionPath;

using Reader = decltype(&mmfi_Read_AMRNB);

int refuse(mm_Interface*, unsigned char*, unsigned int*, bool) {
    return QLIP_FAILURE;
}

// By codec.
constexpr auto kReaders = [] {
    std::array<Reader, ISO_CODEC_SAWB + 1> readers{};
    readers.fill(refuse);
    readers[ISO_CODEC_SAMR] = mmfi_Read_AMRNB;
    readers[ISO_CODEC_SAWB] = mmfi_Read_AMRWB;
    readers[ISO_CODEC_MP4V] = mmfi_Read_MPEG4;
    readers[ISO_CODEC_S263] = mmfi_Read_H263;
    readers[ISO_CODEC_AVC1] = mmfi_Read_H264;
    return readers;
}();

}  // namespace

int mmfi_Read(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) {
    if (session == nullptr) throw SimpleException(kPath, __LINE__, "ReadChunk(): NULL pointer error.");
    session->status = QLIP_SUCCESS;
    const auto codec = static_cast<unsigned int>(session->track->codec);
    return codec < kReaders.size() ? kReaders[codec](session, buffer, size, indexed) : QLIP_FAILURE;
}

int mmfi_seek(iso_track* track, unsigned int offset) {
    return qlip::report_progress(track, offset);
}

int qlip::progress_refused(unsigned int status, unsigned int offset) {
    QLIP_LOG_DEBUG(kPath, "IO Callback Interface failed with status %d offset %x", status, offset);
    return QLIP_FAILURE;
}
