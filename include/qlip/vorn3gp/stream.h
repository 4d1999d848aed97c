// Stream primitives of the box model: each is one call of a slot of the host's callback record.
//
// A slot's status goes through ConvertStatus; when that makes it non-zero, the primitive throws a
// SimpleException that names the slot, the status as the slot gave it, and pUserContext.
#pragma once

#include "qlip/SimpleException.h"
#include "qlip/export.h"
#include "qlip/qlip.h"

namespace Vorn3gp {

// What every operation on a box takes by reference, and returns so that calls can be chained.
using Stream = _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*;

// The word that four characters have in a file, such as type_word("moov").
constexpr unsigned int type_word(const char (&text)[5]) {
    struct Characters {
        char values[4];
    };
    return __builtin_bit_cast(unsigned int, Characters{{text[0], text[1], text[2], text[3]}});
}

// Reads `count` bytes at the current position. A short read is not a failure: the rest of `data` stays as it
// was, and the end shows through macro_IsEOF only.
QLIP_API void macro_Read(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record, unsigned char* data,
                         unsigned int count);

// Writes `count` bytes at the current position.
QLIP_API void macro_Write(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record, unsigned char* data,
                          unsigned int count);

// Moves to an absolute offset.
QLIP_API void macro_Seek(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record, unsigned int offset);

// Moves by `delta` bytes; the sum is 32-bit and wraps.
QLIP_API void macro_SeekRel(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record, int delta);

// The current position.
QLIP_API unsigned int macro_Tell(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record);

// Whether the host says that the stream is at its end. Never throws.
QLIP_API bool macro_IsEOF(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* record);

}  // namespace Vorn3gp

// One value at the current position. The plain forms are big-endian in the stream; the noswap forms keep the
// bytes in file order. Bytes that a short read does not deliver keep what the value held before.
QLIP_API Vorn3gp::Stream& var8_read(Vorn3gp::Stream& stream, unsigned char& value);
QLIP_API Vorn3gp::Stream& var8_read_noswap(Vorn3gp::Stream& stream, unsigned char& value);
QLIP_API Vorn3gp::Stream& var16_read(Vorn3gp::Stream& stream, short& value);
QLIP_API Vorn3gp::Stream& var16_read(Vorn3gp::Stream& stream, unsigned short& value);
QLIP_API Vorn3gp::Stream& var32_read(Vorn3gp::Stream& stream, int& value);
QLIP_API Vorn3gp::Stream& var32_read(Vorn3gp::Stream& stream, unsigned int& value);
QLIP_API Vorn3gp::Stream& var32_read_noswap(Vorn3gp::Stream& stream, unsigned int& value);

QLIP_API Vorn3gp::Stream& var8_write(Vorn3gp::Stream& stream, unsigned char value);
QLIP_API Vorn3gp::Stream& var8_write_noswap(Vorn3gp::Stream& stream, unsigned char value);
QLIP_API Vorn3gp::Stream& var16_write(Vorn3gp::Stream& stream, unsigned short value);
QLIP_API Vorn3gp::Stream& var32_write(Vorn3gp::Stream& stream, unsigned int value);
QLIP_API Vorn3gp::Stream& var32_write_noswap(Vorn3gp::Stream& stream, unsigned int value);

// The total size of the stream; the position is put back where it was.
QLIP_API unsigned int GetFileSize(Vorn3gp::Stream& stream);
