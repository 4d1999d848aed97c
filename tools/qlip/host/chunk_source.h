// Where a native stream comes from, piece by piece: one of the library's readers at work, or a file.
#pragma once

#include <span>

namespace qlip_tool {

class ChunkSource {
  public:
    ChunkSource() = default;
    virtual ~ChunkSource() = default;
    ChunkSource(const ChunkSource&) = delete;
    ChunkSource& operator=(const ChunkSource&) = delete;

    // The next piece of the stream, empty at its end; valid until the next call. Throws ToolError.
    virtual std::span<const unsigned char> next() = 0;
};

}  // namespace qlip_tool
