// A native stream in a file or on standard input.
#pragma once

#include <string>
#include <vector>

#include "host/chunk_source.h"

namespace qlip_tool {

class StreamFile : public ChunkSource {
  public:
    explicit StreamFile(const std::string& path);  // standard input for "-"
    ~StreamFile() override;

    std::span<const unsigned char> next() override;

  private:
    std::string path_;
    int fd_;
    std::vector<unsigned char> piece_;
};

}  // namespace qlip_tool
