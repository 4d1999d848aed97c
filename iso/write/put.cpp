#include "iso/write/put.h"

#include <cstring>

int put32n(int pass, unsigned char* dst, int* values, int n) {
    for (int i = 0; pass && i < n; ++i, dst += 4)
        put32(1, dst, static_cast<unsigned int>(values[i]));
    return 4 * n;
}

int put8n(int pass, unsigned char* dst, void* data, int n) {
    if (pass && n > 0) std::memcpy(dst, data, static_cast<size_t>(n));
    return n;
}

int putxlen(int pass, unsigned char* dst, unsigned int value) {
    if (pass) {
        dst[0] = static_cast<unsigned char>((value >> 21) | 0x80);
        dst[1] = static_cast<unsigned char>((value >> 14) | 0x80);
        dst[2] = static_cast<unsigned char>((value >> 7) | 0x80);
        dst[3] = static_cast<unsigned char>(value & 127);
    }
    return 4;
}

int putID(int pass, unsigned char* dst, char* id) {
    if (pass) std::memcpy(dst, id, 4);
    return 4;
}

int putstring(int pass, unsigned char* dst, char* text) {
    const size_t length = std::strlen(text);
    if (pass) std::memcpy(dst, text, length + 1);
    return static_cast<int>(length);
}
