#include "session/uncalled.h"

#include "common/log.h"
#include "formats/mpeg4_visual.h"
#include "session/mpeg4_start_code.h"
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

int CheckForIFrame(unsigned char* data, int length) {
    return find_start_code(data, length, kMpeg4VopCode) >= 0 ? 1 : 0;
}

int FindStartCode(unsigned char* data, int length, char code) {
    return find_start_code(data, length, static_cast<unsigned char>(code));
}

void printInfo(unsigned char* data, int length) {
    constexpr int kPerLine = 10;
    QLIP_LOG_DEBUG(kPath, "Dump:sz=%d", length);
    for (int i = 0; i < length; i += kPerLine) {
        const unsigned char* line = data + i;
        QLIP_LOG_DEBUG(kPath, "Data:%02x %02x %02x %02x %02x %02x %02x %02x %02x %02x", line[0], line[1],
                       line[2], line[3], line[4], line[5], line[6], line[7], line[8], line[9]);
    }
}
