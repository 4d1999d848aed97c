#include "session/progress.h"

#include "common/log.h"

int qlip::progress_refused(unsigned int status, unsigned int offset) {
    QLIP_LOG_DEBUG(kSessionPath, "IO Callback Interface failed with status %d offset %x", status, offset);
    return QLIP_FAILURE;
}
