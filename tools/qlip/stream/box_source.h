// The second reader at work: C3gpInterface on one hinted track.
#pragma once

#include <string>
#include <vector>

#include "host/chunk_source.h"
#include "host/file_host.h"
#include "qlip/c3gpinterface.h"
#include "stream/growth.h"

namespace qlip_tool {

class BoxSource : public ChunkSource {
  public:
    // What the command that uses it offers beside this reader, for hints what to try.
    enum class Command { Streams, OnlySeeks };

    // Opens the reader in `mode`: "ra", "rv", or empty for what the file holds. Throws ToolError.
    BoxSource(FileHost& host, Growth growth, const std::string& mode, bool indexed,
              Command command = Command::Streams);
    ~BoxSource() override;

    // Moves to a time in milliseconds; `flag` is one of QLIP_SEEK_NEXT_SYNC, ..._PREVIOUS_...,
    // ..._NEAREST_... Fails with ToolError.
    _TAG_QLIP_SEEK_PARAMS seek(unsigned int milliseconds, unsigned int flag);

    // The same, with the status for a result; `result` is filled when that is 0.
    unsigned int try_seek(unsigned int milliseconds, unsigned int flag, _TAG_QLIP_SEEK_PARAMS& result);

    std::span<const unsigned char> next() override;

  private:
    void open();
    std::string advice_on(unsigned int status) const;
    [[noreturn]] void fail(const char* doing, unsigned int status) const;

    FileHost& host_;
    Growth growth_;
    std::string mode_;
    bool indexed_;
    Command command_;
    C3gpInterface reader_;
    std::vector<unsigned char> piece_;
    bool ended_ = false;
};

// The text of a status of this reader, which has three of its own.
std::string box_status_text(unsigned int status);

}  // namespace qlip_tool
