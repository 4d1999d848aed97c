#include "host/host_calls.h"

#include "common/log.h"

namespace {

constexpr const char* kPath = "interface/src/libqlip";

}  // namespace

unsigned short qliputil_getoffset(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int* offset) {
    if (!io || !io->GetOffset) return qlip::kNoSlot;
    return static_cast<unsigned short>(io->GetOffset(io->pUserContext, offset));
}

unsigned short qliputil_seek(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, int offset) {
    return qlip::io_seek(io, static_cast<unsigned int>(offset));
}

unsigned short qliputil_seeknread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int* count) {
    return qlip::io_read(io, data, count);
}

unsigned short qliputil_indexread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int offset, unsigned int count, unsigned int* read) {
    return qlip::io_read_at(io, data, offset, count, read);
}

unsigned short qliputil_advanceread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int offset) {
    return qlip::io_advance(io, offset);
}

void qliputil_printData(unsigned char* data, unsigned int length) {
    for (unsigned int i = 0; i < length; ++i) {
        QLIP_LOG_DEBUG(kPath, "i=%04x pdata[i]=%04x", i, data[i]);
    }
}
