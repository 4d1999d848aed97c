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

// `left` is what records are charged against; `room` is how much may be written, credit or not.
class RecordRoom {
  public:
    RecordRoom(ptrdiff_t left, ptrdiff_t room) : left_(left), room_(room) {}

    // Counts a record of `size` bytes in. False when it does not fit.
    [[nodiscard]] bool take(ptrdiff_t size, RecordCredit credit) {
        if (size - credit.asked > left_ || size > room_ - written_) return false;
        left_ -= size - credit.charged;
        written_ += size;
        return true;
    }

    ptrdiff_t written() const { return written_; }

  private:
    ptrdiff_t left_;
    ptrdiff_t room_;
    ptrdiff_t written_ = 0;
};

class RecordSink {
  public:
    RecordSink(void* out, ptrdiff_t size, ptrdiff_t room)
        : begin_(static_cast<unsigned char*>(out)), room_(size, room) {}
    RecordSink(void* out, ptrdiff_t size) : RecordSink(out, size, size) {}

    // Room for a record of `size` bytes behind those taken before, or null when it does not fit.
    unsigned char* take(ptrdiff_t size, RecordCredit credit = {}) {
        unsigned char* record = begin_ + room_.written();
        return room_.take(size, credit) ? record : nullptr;
    }

    int written() const { return static_cast<int>(room_.written()); }

  private:
    unsigned char* begin_;
    RecordRoom room_;
};

}  // namespace qlip
