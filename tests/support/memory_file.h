// A FILE* over memory that can be full, refuse to seek, or come back short.
#pragma once

#include <cstdio>
#include <optional>

#include "tests/support/memory_host.h"

namespace qlip_test {

class MemoryFile {
  public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    FILE* stream() const { return stream_; }

    Bytes bytes;
    size_t position = 0;
    size_t writes = 0;
    std::optional<size_t> capacity;  // the file takes no byte at or beyond this offset
    bool seekable = true;

  private:
    FILE* stream_;
};

}  // namespace qlip_test
