// Memory for a moment. Much of it comes from the system and goes back there: the heap would hand its touched
// pages on to what is allocated next, which may need few of them for long.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdlib>

namespace qlip {

class ScratchMemory {
  public:
    explicit ScratchMemory(size_t size)
        : size_(size), memory_(size <= kOfTheHeap ? std::malloc(size) : mapped(size)) {}
    ~ScratchMemory() {
        if (size_ <= kOfTheHeap) {
            std::free(memory_);
        } else if (memory_) {
            munmap(memory_, size_);
        }
    }
    ScratchMemory(const ScratchMemory&) = delete;
    ScratchMemory& operator=(const ScratchMemory&) = delete;

    // Null for no memory.
    unsigned char* data() const { return static_cast<unsigned char*>(memory_); }

  private:
    static constexpr size_t kOfTheHeap = 128 * 1024;

    static void* mapped(size_t size) {
        void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        return memory != MAP_FAILED ? memory : nullptr;
    }

    size_t size_;
    void* memory_;
};

}  // namespace qlip
