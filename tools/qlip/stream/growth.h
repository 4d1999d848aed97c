// Patience with a file that is still being written.
#pragma once

#include <chrono>
#include <cstdint>

#include "host/file_host.h"

namespace qlip_tool {

using Seconds = std::chrono::duration<double>;

// Watches a file grow. Without `follow` it never waits.
class Growth {
  public:
    Growth(FileHost& host, bool follow, Seconds patience);

    bool follows() const { return follow_; }

    // Waits until the file is longer than at the last call. False when it has not grown within the patience.
    bool wait();

  private:
    FileHost& host_;
    bool follow_;
    Seconds patience_;
    uint64_t seen_;
};

}  // namespace qlip_tool
