// The caller's buffer, filled from the front with whole records.
#pragma once

#include <cstddef>
#include <limits>

namespace qlip {

// Bytes of a record that are not asked for, and that are not charged once it is written.
struct RecordCredit {
    ptrdiff_t asked = 0;
    ptrdiff_t charged = 0;
};

inline constexpr ptrdiff_t kRoomOfTheCaller = std::numeric_limits<int>::max();

class RecordSink {
  public:
    // `size` is what records are charged against; `room` is how much may be written, credit or not.
    RecordSink(void* out, ptrdiff_t size, ptrdiff_t room)
        : begin_(static_cast<unsigned char*>(out)), left_(size), room_(room) {}
    RecordSink(void* out, ptrdiff_t size) : RecordSink(out, size, size) {}

    // Room for a record of `size` bytes behind those taken before, or null when it does not fit.
    unsigned char* take(ptrdiff_t size, RecordCredit credit = {}) {
        if (size - credit.asked > left_ || size > room_ - written_) return nullptr;
        unsigned char* record = begin_ + written_;
        left_ -= size - credit.charged;
        written_ += size;
        return record;
    }

    int written() const { return static_cast<int>(written_); }

  private:
    unsigned char* begin_;
    ptrdiff_t left_;
    ptrdiff_t room_;
    ptrdiff_t written_ = 0;
};

}  // namespace qlip
