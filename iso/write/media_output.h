// Frames on their way to the output, gathered into large writes.
#pragma once

#include <array>
#include <cstdio>
#include <cstring>

#include "qlip/isoff.h"

namespace qlip {

class MediaOutput {
  public:
    // Becomes the file's own until it goes.
    explicit MediaOutput(iso_file* file);
    ~MediaOutput();
    MediaOutput(const MediaOutput&) = delete;
    MediaOutput& operator=(const MediaOutput&) = delete;

    // That of a file whose media is being written, or null.
    static MediaOutput* of(iso_file* file);

    // False when a write failed, with all that was gathered; nothing is gathered then.
    bool put(const unsigned char* data, int size) {
        if (static_cast<unsigned int>(size) >= static_cast<unsigned int>(room()))
            return put_large(data, size);
        std::memcpy(buffer_ + used_, data, static_cast<size_t>(size));
        used_ += size;
        return true;
    }

    // Zeros, before anything is gathered.
    bool put_zeros(int count);

    // The next bytes of a scratch stream. False also when it ends early; what was gathered ahead stays.
    bool put_from(FILE* spill, int size);

    // Sends on what is gathered.
    bool flush();

  private:
    bool put_large(const unsigned char* data, int size);
    bool advance(int size);
    int room() const { return capacity_ - used_; }

    iso_file* file_;
    unsigned char* buffer_;
    int capacity_;
    int used_ = 0;
    std::array<unsigned char, 4096> spare_;  // for want of a larger one
};

}  // namespace qlip
