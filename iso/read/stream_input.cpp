#include "iso/read/stream_input.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstring>

#include "common/byte_order.h"
#include "common/diagnostics.h"
#include "host/host_calls.h"
#include "iso/read/payload.h"

using namespace qlip;

namespace {

struct StreamRead {
    unsigned short status;
    unsigned int count;
};

StreamRead read_stream(iso_file* file, void* dst, unsigned int n) {
    unsigned int count = n;
    const unsigned short status = qliputil_seeknread(file->io, static_cast<unsigned char*>(dst), &count);
    return {status, count};
}

// Fills `field`, which is zero on entry, from either source. False when the stream refused.
template <size_t N>
bool read_field(iso_file* file, std::array<unsigned char, N>& field) {
    if (file->in_buffer) {
        read_buf(file, field.data(), N);
        return true;
    }
    return read_stream(file, field.data(), N).status == 0;
}

// Consumes n bytes by reading them.
int read_over(iso_file* file, int n) {
    std::array<unsigned char, 1024> scratch;
    while (n > 0) {
        const auto piece = std::min<unsigned int>(static_cast<unsigned int>(n), scratch.size());
        const StreamRead read = read_stream(file, scratch.data(), piece);
        if (read.status != 0 || read.count == 0) return 0;
        n -= static_cast<int>(read.count);
    }
    return 1;
}

}  // namespace

int getbyte(iso_file* file) {
    std::array<unsigned char, 1> field{};
    read_field(file, field);
    return field[0];
}

int getint16(iso_file* file) {
    std::array<unsigned char, 2> field{};
    return read_field(file, field) ? load_be16(field.data()) : -1;
}

int getint24(iso_file* file) {
    std::array<unsigned char, 3> field{};
    return read_field(file, field) ? static_cast<int>(load_be24(field.data())) : -1;
}

int getint32(iso_file* file) {
    std::array<unsigned char, 4> field{};
    if (file->in_buffer) {
        read_buf(file, field.data(), 4);
    } else {
        const StreamRead read = read_stream(file, field.data(), 4);
        if (read.status != 0 || read.count != 4) return -1;
    }
    return static_cast<int>(load_be32(field.data()));
}

void getID(iso_file* file, char* dst) {
    getbytes(file, dst, 4);
    dst[4] = '\0';
}

int getbytes(iso_file* file, void* dst, int n) {
    if (n < 0) return -1;
    if (file->in_buffer) {
        read_buf(file, dst, n);
        return n;
    }
    return read_stream(file, dst, static_cast<unsigned int>(n)).status == 0 ? n : -1;
}

int getxlen(iso_file* file, int* value) {
    unsigned int length = 0;
    for (int count = 1;; ++count) {
        std::array<unsigned char, 1> field{};
        const bool read = read_field(file, field);
        length = length << 7 | (field[0] & 127U);
        *value = static_cast<int>(length);
        if (!read) return -1;
        if (field[0] < 128 || count == INT_MAX) return count;
    }
}

int skip(iso_file* file, int n) {
    if (file->in_buffer) {
        seek_buf(file, n);
        return 1;
    }
    unsigned int offset = 0;
    if (qliputil_getoffset(file->io, &offset) != 0) return -1;
    const unsigned int target = offset + static_cast<unsigned int>(n);
    if (qliputil_seek(file->io, static_cast<int>(target)) == 0) return 1;
    return read_over(file, n);
}

void read_buf(iso_file* file, void* dst, int n) {
    if (n < 0 || file->buffer_left < n) {
        myfprintf(stderr, "read_buf, EOF %d left, %d requested\n", file->buffer_left, n);
        return;
    }
    if (n == 0) return;
    std::memcpy(dst, file->buffer_next, static_cast<size_t>(n));
    file->buffer_next += n;
    file->buffer_left -= n;
}

// A negative n moves back: boxes that are shorter than their fixed fields do so. It must stay in the buffer.
void seek_buf(iso_file* file, int n) {
    if (file->buffer_left < n || n < -consumed_of_buffer(file)) {
        myfprintf(stderr, "seek_buf, EOF %d left, %d requested\n", file->buffer_left, n);
        return;
    }
    if (n == 0) return;
    file->buffer_next += n;
    file->buffer_left -= n;
}

unsigned long mread(void* dst, unsigned long size, unsigned long count, void* file) {
    const auto* self = static_cast<const iso_file*>(file);
    if (self->position < self->mdat_start || self->position >= self->mdat_end) return 0;
    const unsigned long left = self->mdat_end - self->position;
    unsigned long total;
    if (__builtin_mul_overflow(size, count, &total)) total = left;
    total = std::min(total, left);
    if (total > 0) std::memcpy(dst, self->mdat_image + (self->position - self->mdat_start), total);
    return total;
}

int mseek(void* file, long offset, int whence) {
    auto* self = static_cast<iso_file*>(file);
    long base;
    switch (whence) {
        case SEEK_SET:
            base = 0;
            break;
        case SEEK_CUR:
            base = self->position;
            break;
        case SEEK_END:
            base = self->mdat_end;
            break;
        default:
            return -1;
    }
    long target;
    if (__builtin_add_overflow(base, offset, &target)) return -1;
    if (target < long{self->mdat_start} || target >= long{self->mdat_end}) return -1;
    self->position = static_cast<unsigned int>(target);
    return 0;
}
