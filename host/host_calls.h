// The session's calls into the host's callback record. Each returns the slot's status cut to 16 bits: 0 is
// success. A missing record or slot counts as a failed call, so that a parse against an incomplete record
// ends by itself.
#pragma once

#include <algorithm>

#include "qlip/qlip.h"

unsigned short qliputil_getoffset(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int* offset);

unsigned short qliputil_seek(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, int offset);

// Reads at the current position. *count is the bytes wanted on entry and the bytes read on return, never
// more.
unsigned short qliputil_seeknread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int* count);

// The rest of the family nothing in the library calls: samples are read through the inline forms below. The
// names are interface all the same, and tests hold what they do.

// Reads at an absolute offset. *read is never more than count.
unsigned short qliputil_indexread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int offset, unsigned int count, unsigned int* read);

unsigned short qliputil_advanceread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int offset);

// Logs each byte at the debug level.
void qliputil_printData(unsigned char* data, unsigned int length);

// The same calls, inline for the reading of samples.
namespace qlip {

using HostIo = _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE;

inline constexpr unsigned short kNoSlot = 13;
inline constexpr unsigned int kCurrentPosition = 0xFFFFFFFF;

// Whether the record is there with a function in every slot. The context may be null.
inline bool complete(const HostIo* io) {
    return io && io->GetOffset && io->Seek && io->SeekNRead && io->SeekNWrite && io->Tell && io->IsEOF &&
           io->IndexRead && io->AdvanceRead && io->ConvertStatus;
}

inline unsigned short io_seek(HostIo* io, unsigned int offset) {
    if (!io || !io->Seek) return kNoSlot;
    return static_cast<unsigned short>(io->Seek(io->pUserContext, offset));
}

inline unsigned short io_read(HostIo* io, unsigned char* data, unsigned int* count) {
    if (!io || !io->SeekNRead) return kNoSlot;
    const unsigned int wanted = *count;
    const unsigned int status = io->SeekNRead(io->pUserContext, data, count, kCurrentPosition);
    if (*count > wanted) [[unlikely]]
        *count = wanted;
    return static_cast<unsigned short>(status);
}

inline unsigned short io_read_at(HostIo* io, unsigned char* data, unsigned int offset, unsigned int count,
                                 unsigned int* read) {
    *read = 0;
    if (!io || !io->IndexRead) return kNoSlot;
    const unsigned int status = io->IndexRead(io->pUserContext, data, offset, count, read);
    if (*read > count) [[unlikely]]
        *read = count;
    return static_cast<unsigned short>(status);
}

inline unsigned short io_advance(HostIo* io, unsigned int offset) {
    if (!io || !io->AdvanceRead) return kNoSlot;
    return static_cast<unsigned short>(io->AdvanceRead(io->pUserContext, offset));
}

}  // namespace qlip
