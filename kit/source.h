// The bytes of one file, wherever they come from, for any number of streams in any number of threads.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <mutex>

#include "qlip/host.h"

namespace qlip::kit {

inline constexpr uint64_t kMostBytes = std::numeric_limits<uint32_t>::max();  // positions have 32 bits

// Where the bytes come from. Both operations are called from all threads.
class ByteStore {
  public:
    ByteStore() = default;
    virtual ~ByteStore() = default;
    ByteStore(const ByteStore&) = delete;
    ByteStore& operator=(const ByteStore&) = delete;

    // As read_at of qlip_source_functions.
    virtual int64_t read_at(void* to, size_t size, uint64_t offset) = 0;
    virtual uint64_t size() = 0;
    virtual bool set_size(uint64_t /*size*/) { return false; }
    virtual bool takes_sizes() const { return false; }
};

// The lowest place that each open stream still needs, and the host that wants to know of the lowest of all.
class Floors {
  public:
    using Floor = std::list<uint64_t>::iterator;

    void tell(void (*advanced)(void*, uint64_t), void* user);
    Floor add();
    void remove(Floor floor);
    void raise(Floor floor, uint64_t offset);
    bool wanted() const { return wanted_.load(std::memory_order_relaxed); }

  private:
    std::mutex mutex_;
    std::list<uint64_t> floors_;
    void (*advanced_)(void*, uint64_t) = nullptr;
    void* user_ = nullptr;
    uint64_t told_ = 0;
    std::atomic<bool> wanted_{false};
};

inline void drop_line(int /*level*/, const char* /*text*/, void* /*user*/) {}

class Source {
  public:
    explicit Source(std::unique_ptr<ByteStore> store) : store_(std::move(store)) {}

    int64_t read_at(void* to, size_t size, uint64_t offset) { return store_->read_at(to, size, offset); }
    uint64_t size() { return store_->size(); }
    bool growing() const { return growing_.load(std::memory_order_acquire); }
    void set_growing(bool growing);
    int set_size(uint64_t size);
    int wait(uint64_t size, int64_t timeout);

    // Without a function for lines they are dropped.
    void set_limits(const qlip_limits& limits);
    const qlip_limits& limits() const { return limits_; }

    // The host's handle counts as one, each stream as one.
    void hold() { references_.fetch_add(1, std::memory_order_relaxed); }
    bool let_go() { return references_.fetch_sub(1, std::memory_order_acq_rel) == 1; }

    Floors floors;

  private:
    std::unique_ptr<ByteStore> store_;
    qlip_limits limits_ = {sizeof(qlip_limits), 0, 0, 0, 0, 0, drop_line, nullptr};
    std::atomic<bool> growing_{false};
    std::atomic<int> references_{1};
    std::mutex mutex_;
    std::condition_variable changed_;
};

}  // namespace qlip::kit

// The handle of the interface.
struct qlip_source final : qlip::kit::Source {
    using Source::Source;
};

namespace qlip::kit {

// Keeps a source alive.
class SourceHold {
  public:
    explicit SourceHold(qlip_source* source) : source_(source) { source_->hold(); }
    ~SourceHold() {
        if (source_->let_go()) delete source_;
    }
    SourceHold(const SourceHold&) = delete;
    SourceHold& operator=(const SourceHold&) = delete;

    Source& operator*() const { return *source_; }
    Source* operator->() const { return source_; }

  private:
    qlip_source* source_;
};

}  // namespace qlip::kit
