// The memory that packets are built in. A host can hold on to a frame's: the next frame then gets another.
#pragma once

#include <cstddef>

#include "qlip/host.h"

namespace qlip::kit {

class PacketMemory {
  public:
    PacketMemory() = default;
    explicit PacketMemory(size_t size);
    ~PacketMemory();
    PacketMemory(PacketMemory&& other) noexcept;
    PacketMemory& operator=(PacketMemory&& other) noexcept;

    // `size` bytes for a frame, which nobody holds: those of the frame before unless somebody holds them.
    unsigned char* renew();

    // One more holder of the bytes that `renew` returned last.
    qlip_packets* hold();

  private:
    qlip_packets* block_ = nullptr;
};

// From any thread.
void let_go(qlip_packets* packets);

}  // namespace qlip::kit
