// Big-endian put primitives of the box writers. Every writer runs twice over the same data: with `pass` 0 it
// only counts, with `pass` 1 it stores as well. The result is the number of bytes that the value takes. With
// pass 0 `dst` may be null.
#pragma once

#include "common/byte_order.h"

inline int put8(int pass, unsigned char* dst, unsigned int value) {
    if (pass) *dst = static_cast<unsigned char>(value);
    return 1;
}

inline int put16(int pass, unsigned char* dst, unsigned int value) {
    if (pass) qlip::store_be16(dst, static_cast<uint16_t>(value));
    return 2;
}

inline int put24(int pass, unsigned char* dst, unsigned int value) {
    if (pass) qlip::store_be24(dst, value);
    return 3;
}

inline int put32(int pass, unsigned char* dst, unsigned int value) {
    if (pass) qlip::store_be32(dst, value);
    return 4;
}

// Nothing in the library calls the first; its name is interface like the others.
int put32n(int pass, unsigned char* dst, int* values, int n);
int put8n(int pass, unsigned char* dst, void* data, int n);

// Expandable length (ISO/IEC 14496-1 8.3.3), always in four bytes.
int putxlen(int pass, unsigned char* dst, unsigned int value);

// The first four characters.
int putID(int pass, unsigned char* dst, char* id);

// The characters without their terminator. One does land behind them in the storing pass, so `dst` holds a
// byte more.
int putstring(int pass, unsigned char* dst, char* text);
