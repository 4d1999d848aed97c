// Callbacks within limits: a record that stands in front of the host's, counts what an object costs, and ends
// a call that passes the limits which the host gave (qlip/limits.h).
#pragma once

#include <cstdint>
#include <new>

#include "common/line_book.h"
#include "host/host_calls.h"
#include "qlip/limits.h"

namespace qlip {

// A file that asks for more than it backs, or than the host allows.
class OverBudget : public std::bad_alloc {
  public:
    const char* what() const noexcept override { return "the file asks for more than it backs"; }
};

// What a host may pass, taken over; false when its size cannot be meant.
bool take_limits(const qlip_limits* given, qlip_limits* limits);

class LimitedCallbacks : public HostIo {
  public:
    // `host` is complete.
    LimitedCallbacks(HostIo* host, const qlip_limits& limits);
    LimitedCallbacks(const LimitedCallbacks&) = delete;
    LimitedCallbacks& operator=(const LimitedCallbacks&) = delete;

    // Null for a record without limits.
    static LimitedCallbacks* of(HostIo* io) {
        return io && io->GetOffset == kMark ? static_cast<LimitedCallbacks*>(io) : nullptr;
    }

    HostIo* host() const { return host_; }

    // Each is false beyond the limit, and says so in a line. A step beyond it throws OverBudget out of the
    // slot.
    [[nodiscard]] bool take_box();
    [[nodiscard]] bool take_memory(uint64_t bytes);
    [[nodiscard]] bool take_samples(uint64_t count);

    bool bounds_memory() const { return limits_.memory != kNone; }
    bool was_passed() const { return was_passed_; }  // any limit
    bool in_call() const { return in_call_; }

  private:
    friend class LimitedCall;
    friend struct LimitedSlots;

    static constexpr uint64_t kNone = UINT64_MAX;
    static const decltype(HostIo::GetOffset) kMark;  // the slot that no other record has

    bool keeps(uint64_t count, uint64_t limit, const char* what);
    void take_step();

    HostIo* host_;
    qlip_limits limits_;  // with kNone where the host set none
    LineBook lines_;
    uint64_t boxes_ = 0;
    uint64_t memory_ = 0;
    uint64_t steps_ = 0;  // of this call
    bool was_passed_ = false;
    bool in_call_ = false;
};

// A call of the library on an object whose record may have limits: its lines go into the object's book, and
// its steps count from 0. Calls within a call are part of it.
class LimitedCall {
  public:
    explicit LimitedCall(HostIo* io) : LimitedCall(LimitedCallbacks::of(io)) {}
    explicit LimitedCall(LimitedCallbacks* limited);
    ~LimitedCall();
    LimitedCall(const LimitedCall&) = delete;
    LimitedCall& operator=(const LimitedCall&) = delete;

    // It took more steps than it may.
    bool ran_out() const { return begun_ && begun_->steps_ > begun_->limits_.steps; }

  private:
    LimitedCallbacks* begun_;  // null: nothing to end
    LineScope lines_;
};

}  // namespace qlip
