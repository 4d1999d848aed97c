// Functions that nothing in the library calls: it does the same in other forms, which cost a read call less.
// Their names are interface all the same, like those of the readers, and tests hold what they do.
#pragma once

#include "session/session.h"

// Delivers the next chunk; arguments and result are those of qlip_ReadChunk, which goes straight to the
// codec's reader. Throws SimpleException for a null session.
int mmfi_Read(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed);

// Tells the host that `track` needs nothing below `offset` any more, in the way of the current read mode, as
// report_progress does. Returns 0, or 2 when the host refuses.
int mmfi_seek(iso_track* track, unsigned int offset);

// Searches for one start code of MPEG-4 visual, where find_start_codes looks for both kinds in one pass. The
// first: 1 if `data` holds the start code of an intra VOP, else 0.
int CheckForIFrame(unsigned char* data, int length);

// Position of the first start code with this code byte, or -1.
int FindStartCode(unsigned char* data, int length, char code);

// Logs the data at the debug level, ten bytes a line. Reads up to the end of the last line of ten.
void printInfo(unsigned char* data, int length);
