// Memory that is cleared only as far as it is used: a buffer of which most is never needed costs nothing for
// the rest, and yet shows nothing that was in it before.
#pragma once

#include <cstdint>
#include <cstring>

namespace qlip {

class ClearedMemory {
  public:
    explicit ClearedMemory(unsigned char* begin) : end_(begin) {}

    // Memory that holds what it holds.
    static ClearedMemory of_the_caller() {
        return ClearedMemory(reinterpret_cast<unsigned char*>(UINTPTR_MAX));
    }

    // Before anything up to `end` is used: what was never written is zero.
    void reach(unsigned char* end) {
        if (end > end_) [[unlikely]]
            clear_to(end);
    }

    // After everything up to `end` was written.
    void note(unsigned char* end) {
        if (end > end_) end_ = end;
    }

  private:
    [[gnu::noinline]] void clear_to(unsigned char* end) {
        std::memset(end_, 0, static_cast<size_t>(end - end_));
        end_ = end;
    }

    unsigned char* end_;
};

}  // namespace qlip
