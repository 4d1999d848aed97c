// AMR frame layouts and conversions between them.
//
// Format 1 is the storage format of 3GP files and of RFC 4867 5.3: a table-of-contents byte (frame type in
// bits 3 to 6), then the speech bits, octet-aligned. Format 2 is packed: the frame type in the low four bits
// of the first byte, the speech bits behind it from the lowest bit up. Format 3 is the storage format of
// AMR-WB.
#pragma once

#include "qlip/export.h"

enum amr_format : int { AMR_FORMAT_STORAGE = 1, AMR_FORMAT_PACKED = 2, AMR_FORMAT_WB_STORAGE = 3 };

// Bytes of the frame at `frame`, of which only the first byte is read. -1 for an unknown format.
QLIP_API int amr_get_size(void* frame, int format);

// Which AMR-NB format a frame of `size` bytes is of, 1 or 2, or -1. *mode receives the frame type, in the
// reading tried last.
QLIP_API int amr_get_format(void* frame, int size, int* mode);

// Converts one frame, from format 1 to 2 and back; `in` and `out` must not overlap. Returns the bytes
// written: 0 for frame types 9 to 14, which neither format holds.
QLIP_API int amr2cod(void* in, void* out);
QLIP_API int cod2amr(void* in, void* out);

// Converts a run of frames of `length` bytes, and stops at a frame that cannot be converted or that is cut
// short. `out` must hold `length` bytes (format 1 to 2) or `length` and one byte per frame (2 to 1). Returns
// the bytes written.
QLIP_API int amr1_to_amr2(void* in, void* out, int length);
QLIP_API int amr2_to_amr1(void* in, void* out, int length);
