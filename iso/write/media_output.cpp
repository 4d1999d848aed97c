#include "iso/write/media_output.h"

#include <algorithm>
#include <cstring>

#include "iso/model/arena.h"
#include "iso/model/open_file.h"
#include "iso/write/writer_output.h"

namespace qlip {

namespace {

// A multiple of what streams buffer, so that they pass it on as it is. File systems take large writes at a
// lower cost for each page.
constexpr int kCapacity = 256 * 1024;
constexpr int kSpillBlock = 4096;

}  // namespace

MediaOutput::MediaOutput(iso_file* file)
    : file_(file), buffer_(static_cast<unsigned char*>(arena_take(file, kCapacity))), capacity_(kCapacity) {
    if (!buffer_) {
        buffer_ = spare_.data();
        capacity_ = static_cast<int>(spare_.size());
    }
    if (OpenFile* open = open_file(file)) open->media_output = this;
}

MediaOutput::~MediaOutput() {
    if (buffer_ != spare_.data()) isoFFfree(buffer_);
    if (OpenFile* open = open_file(file_)) open->media_output = nullptr;
}

MediaOutput* MediaOutput::of(iso_file* file) {
    const OpenFile* open = open_file(file);
    return open ? open->media_output : nullptr;
}

bool MediaOutput::put_zeros(int count) {
    const int block = std::clamp(count, 0, capacity_);
    std::memset(buffer_, 0, static_cast<size_t>(block));
    for (; count > 0; count -= block) {
        if (!put_out(file_, buffer_, std::min(count, block))) return false;
    }
    return true;
}

bool MediaOutput::put_from(FILE* spill, int size) {
    while (size > 0) {
        const int part = std::min({size, room(), kSpillBlock});
        if (fread_unlocked(buffer_ + used_, 1, static_cast<size_t>(part), spill) !=
            static_cast<size_t>(part)) {
            set_failed(file_);
            return false;
        }
        if (!advance(part)) return false;
        size -= part;
    }
    return true;
}

bool MediaOutput::flush() {
    const int gathered = used_;
    used_ = 0;
    return put_out(file_, buffer_, gathered);
}

bool MediaOutput::put_large(const unsigned char* data, int size) {
    while (size > 0) {
        const bool whole_buffers = used_ == 0 && size >= capacity_;
        const int part = whole_buffers ? size - size % capacity_ : std::min(size, room());
        if (whole_buffers) {
            if (!put_out(file_, data, part)) return false;
        } else {
            std::memcpy(buffer_ + used_, data, static_cast<size_t>(part));
            if (!advance(part)) return false;
        }
        data += part;
        size -= part;
    }
    return true;
}

bool MediaOutput::advance(int size) {
    used_ += size;
    return room() > 0 || flush();
}

}  // namespace qlip
