// The caller's buffer, filled from the front with whole records.
#pragma once

#include <cstddef>

namespace qlip {

class record_sink {
  public:
    record_sink(void* out, ptrdiff_t size) : begin_(static_cast<unsigned char*>(out)), left_(size) {}

    // Room for a record of `size` bytes behind those taken before, or null when it does not fit.
    unsigned char* take(ptrdiff_t size) {
        if (size > left_) return nullptr;
        unsigned char* record = begin_ + written_;
        left_ -= size;
        written_ += size;
        return record;
    }

    int written() const { return static_cast<int>(written_); }

  private:
    unsigned char* begin_;
    ptrdiff_t left_;
    ptrdiff_t written_ = 0;
};

}  // namespace qlip
