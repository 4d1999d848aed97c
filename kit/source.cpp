#include "kit/source.h"

#include <algorithm>
#include <chrono>

namespace qlip::kit {
namespace {

constexpr uint64_t kFloorStep = 64 * 1024;
constexpr std::chrono::milliseconds kLookAgain{20};

}  // namespace

void Floors::tell(void (*advanced)(void*, uint64_t), void* user) {
    const std::lock_guard lock(mutex_);
    advanced_ = advanced;
    user_ = user;
    wanted_.store(advanced != nullptr, std::memory_order_relaxed);
}

Floors::Floor Floors::add() {
    const std::lock_guard lock(mutex_);
    return floors_.insert(floors_.end(), 0);
}

void Floors::remove(Floor floor) {
    const std::lock_guard lock(mutex_);
    floors_.erase(floor);
}

void Floors::raise(Floor floor, uint64_t offset) {
    const std::lock_guard lock(mutex_);
    *floor = offset;
    const uint64_t lowest = *std::min_element(floors_.begin(), floors_.end());
    if (!advanced_ || lowest < told_ + kFloorStep) return;
    told_ = lowest;
    advanced_(user_, lowest);
}

void Source::set_limits(const qlip_limits& limits) {
    limits_ = limits;
    limits_.record_size = sizeof limits_;
    if (!limits_.line) limits_.line = drop_line;
}

void Source::set_growing(bool growing) {
    growing_.store(growing, std::memory_order_release);
    changed_.notify_all();
}

int Source::set_size(uint64_t size) {
    if (!store_->takes_sizes() || size > kMostBytes) return QLIP_NOT_SUPPORTED;
    if (!store_->set_size(size)) return QLIP_BAD_ARGUMENT;
    changed_.notify_all();
    return QLIP_SUCCESS;
}

// A waiter that misses the call looks again soon all the same, so no lock is held while the store is asked.
int Source::wait(uint64_t size, int64_t timeout) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    while (store_->size() < size) {
        if (!growing()) return store_->size() < size ? QLIP_CORRUPT_FILE : QLIP_SUCCESS;
        std::chrono::nanoseconds pause = kLookAgain;
        if (timeout >= 0) {
            pause = std::min(pause, std::chrono::nanoseconds(timeout) - (Clock::now() - start));
            if (pause.count() <= 0) return QLIP_NOT_AVAILABLE_YET;
        }
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, pause);
    }
    return QLIP_SUCCESS;
}

}  // namespace qlip::kit
