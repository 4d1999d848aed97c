// The byte-level input of the box parser. Each primitive reads the moov buffer while in_buffer is 1, and the
// host's stream otherwise. Fields are big-endian. Nothing here stops a parse: a number that could not be read
// is zero, or -1 where a result says so, and bytes stay as they were.
#pragma once

#include "qlip/isoff.h"

// One byte; 0 when it could not be read.
int getbyte(iso_file* file);

// 16 and 24 bits, or -1 when the read failed; bytes that a short read left out are zero.
int getint16(iso_file* file);
int getint24(iso_file* file);

// 32 bits, or -1 when the stream failed or delivered less.
int getint32(iso_file* file);

// The same fields for a record that keeps them.
namespace qlip {

inline unsigned char read_u8(iso_file* file) {
    return static_cast<unsigned char>(getbyte(file));
}

inline unsigned int read_u16(iso_file* file) {
    return static_cast<unsigned int>(getint16(file));
}

inline unsigned int read_u32(iso_file* file) {
    return static_cast<unsigned int>(getint32(file));
}

}  // namespace qlip

// A four-character code and its terminator into dst[5].
void getID(iso_file* file, char* dst);

// n bytes. Returns n, also for a short read, or -1 when the read failed.
int getbytes(iso_file* file, void* dst, int n);

// Expandable length (ISO/IEC 14496-1 8.3.3). Returns the number of bytes it took, or -1 when the read failed.
int getxlen(iso_file* file, int* value);

// Passes over n bytes; reads them where the host cannot seek. 1, 0 when that reading failed, -1 without a
// position.
int skip(iso_file* file, int n);

// The moov buffer. Beyond its end both print a line and change nothing.
void read_buf(iso_file* file, void* dst, int n);
void seek_buf(iso_file* file, int n);

// read_fn and seek_fn over a media box in memory. mread returns bytes and leaves the position alone.
unsigned long mread(void* dst, unsigned long size, unsigned long count, void* file);
int mseek(void* file, long offset, int whence);
