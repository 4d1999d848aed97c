// The session's calls into the host's callback record. Each returns the slot's status cut to 16 bits: 0 is
// success. A missing record or slot counts as a failed call, so that a parse against an incomplete record
// ends by itself.
#pragma once

#include "qlip/qlip.h"

unsigned short qliputil_getoffset(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int* offset);

unsigned short qliputil_seek(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, int offset);

// Reads at the current position. *count is the bytes wanted on entry and the bytes read on return, never
// more.
unsigned short qliputil_seeknread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int* count);

// Reads at an absolute offset. *read is never more than count.
unsigned short qliputil_indexread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned char* data,
                                  unsigned int offset, unsigned int count, unsigned int* read);

unsigned short qliputil_advanceread(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, unsigned int offset);

// Logs each byte at the debug level.
void qliputil_printData(unsigned char* data, unsigned int length);
