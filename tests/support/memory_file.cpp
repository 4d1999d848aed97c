#include "tests/support/memory_file.h"

#include <algorithm>
#include <cstring>

namespace qlip_test {

namespace {

ssize_t take(void* cookie, const char* data, size_t size) {
    auto& file = *static_cast<MemoryFile*>(cookie);
    ++file.writes;
    if (file.capacity) {
        const size_t room = *file.capacity > file.position ? *file.capacity - file.position : 0;
        size = std::min(size, room);
    }
    if (size == 0) return 0;
    if (file.bytes.size() < file.position + size) file.bytes.resize(file.position + size);
    std::memcpy(file.bytes.data() + file.position, data, size);
    file.position += size;
    return static_cast<ssize_t>(size);
}

ssize_t give(void* cookie, char* data, size_t size) {
    auto& file = *static_cast<MemoryFile*>(cookie);
    const size_t left = file.bytes.size() > file.position ? file.bytes.size() - file.position : 0;
    size = std::min(size, left);
    if (size > 0) std::memcpy(data, file.bytes.data() + file.position, size);
    file.position += size;
    return static_cast<ssize_t>(size);
}

int move(void* cookie, off64_t* offset, int whence) {
    auto& file = *static_cast<MemoryFile*>(cookie);
    if (!file.seekable) return -1;
    off64_t base = 0;
    if (whence == SEEK_CUR) base = static_cast<off64_t>(file.position);
    if (whence == SEEK_END) base = static_cast<off64_t>(file.bytes.size());
    if (base + *offset < 0) return -1;
    file.position = static_cast<size_t>(base + *offset);
    *offset = static_cast<off64_t>(file.position);
    return 0;
}

}  // namespace

MemoryFile::MemoryFile() : stream_(fopencookie(this, "w+", {give, take, move, nullptr})) {}

MemoryFile::~MemoryFile() {
    fclose(stream_);
}

}  // namespace qlip_test
