#include "kit/packet_memory.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace qlip::kit {

// Blocks of one size that nobody holds.
class Shelf {
  public:
    explicit Shelf(size_t size) : size_(size) {}

    size_t size() const { return size_; }
    void put(qlip_packets* block);
    qlip_packets* take();

    // Nobody takes any more.
    void close();

  private:
    const size_t size_;
    std::mutex mutex_;
    qlip_packets* first_ = nullptr;
    bool closed_ = false;
};

}  // namespace qlip::kit

// The handle of the interface: a block. One holder is the stream whose frames are built in it.
struct qlip_packets {
    explicit qlip_packets(const std::shared_ptr<qlip::kit::Shelf>& from)
        : shelf(from), bytes(new unsigned char[from->size()]) {}

    std::atomic<unsigned int> holders{1};
    qlip_packets* next = nullptr;  // on the shelf
    const std::shared_ptr<qlip::kit::Shelf> shelf;
    const std::unique_ptr<unsigned char[]> bytes;
};

namespace qlip::kit {

void Shelf::put(qlip_packets* block) {
    std::unique_lock lock(mutex_);
    if (closed_) {
        lock.unlock();
        delete block;
        return;
    }
    block->next = first_;
    first_ = block;
}

// The one that came last: its pages are the warmest.
qlip_packets* Shelf::take() {
    const std::lock_guard lock(mutex_);
    qlip_packets* block = first_;
    if (block) first_ = std::exchange(block->next, nullptr);
    return block;
}

void Shelf::close() {
    qlip_packets* rest = nullptr;
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
        rest = std::exchange(first_, nullptr);
    }
    while (rest)
        delete std::exchange(rest, rest->next);
}

PacketMemory::PacketMemory(size_t size) : block_(new qlip_packets(std::make_shared<Shelf>(size))) {}

PacketMemory::~PacketMemory() {
    if (!block_) return;
    const std::shared_ptr<Shelf> shelf = block_->shelf;
    let_go(block_);
    shelf->close();
}

PacketMemory::PacketMemory(PacketMemory&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}

PacketMemory& PacketMemory::operator=(PacketMemory&& other) noexcept {
    std::swap(block_, other.block_);
    return *this;
}

unsigned char* PacketMemory::renew() {
    if (block_->holders.load(std::memory_order_acquire) != 1) {
        qlip_packets* other = block_->shelf->take();
        if (!other) other = new qlip_packets(block_->shelf);
        let_go(std::exchange(block_, other));
    }
    return block_->bytes.get();
}

qlip_packets* PacketMemory::hold() {
    block_->holders.fetch_add(1, std::memory_order_relaxed);
    return block_;
}

void let_go(qlip_packets* packets) {
    if (packets->holders.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    packets->holders.store(1, std::memory_order_relaxed);  // of who takes it
    const std::shared_ptr<Shelf> shelf = packets->shelf;
    shelf->put(packets);
}

}  // namespace qlip::kit
