#include "interface/src/qliputil.h"

#include <algorithm>

#include "common/log.h"

namespace {

constexpr const char* kPath = "interface/src/libqlip";
constexpr unsigned short kNoSlot = 13;
constexpr unsigned int kCurrentPosition = 0xFFFFFFFF;

}  // namespace

unsigned short qliputil_getoffset(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int* offset) {
    if (!io || !io->GetOffset) return kNoSlot;
    return static_cast<unsigned short>(io->GetOffset(io->pUserContext, offset));
}

unsigned short qliputil_seek(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, int offset) {
    if (!io || !io->Seek) return kNoSlot;
    return static_cast<unsigned short>(io->Seek(io->pUserContext, static_cast<unsigned int>(offset)));
}

unsigned short qliputil_seeknread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int* count) {
    if (!io || !io->SeekNRead) return kNoSlot;
    const unsigned int wanted = *count;
    const auto status =
        static_cast<unsigned short>(io->SeekNRead(io->pUserContext, data, count, kCurrentPosition));
    *count = std::min(*count, wanted);
    return status;
}

unsigned short qliputil_indexread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int offset, unsigned int count, unsigned int* read) {
    *read = 0;
    if (!io || !io->IndexRead) return kNoSlot;
    const auto status =
        static_cast<unsigned short>(io->IndexRead(io->pUserContext, data, offset, count, read));
    *read = std::min(*read, count);
    return status;
}

unsigned short qliputil_advanceread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int offset) {
    if (!io || !io->AdvanceRead) return kNoSlot;
    return static_cast<unsigned short>(io->AdvanceRead(io->pUserContext, offset));
}

void qliputil_printData(unsigned char* data, unsigned int length) {
    for (unsigned int i = 0; i < length; ++i) {
        QLIP_LOG_DEBUG(kPath, "i=%04x pdata[i]=%04x", i, data[i]);
    }
}
