// What stands behind qlip_ReadChunk, and the progress report to the host.
#include "common/log.h"
#include "session/progress.h"

using namespace qlip;

namespace {

constexpr const char* kPath = kSessionPath;

}  // namespace

int mmfi_Read(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) {
    if (!session) throw SimpleException(kPath, __LINE__, "ReadChunk(): NULL pointer error.");
    return session->reader(session, buffer, size, indexed);
}

int mmfi_seek(iso_track* track, unsigned int offset) {
    return report_progress(track, offset);
}

int qlip::progress_refused(unsigned int status, unsigned int offset) {
    QLIP_LOG_DEBUG(kPath, "IO Callback Interface failed with status %d offset %x", status, offset);
    return QLIP_FAILURE;
}
