// What an input costs while it is handled, held against its size when the Cost goes: bytes allocated and
// lines written to standard output or the system log. A target adds its own counts of the host's calls.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qlip_fuzz {

struct Spent {
    uint64_t bytes = 0;    // of blocks
    uint64_t claims = 0;   // blocks so large that they are counted one by one,
    uint64_t claimed = 0;  // and their bytes
    uint64_t lines = 0;
    uint64_t kept = 0;  // bytes that were not given back
};

// Counts from now on, and what was counted since the last Cost began.
void watch();
Spent spent();

class Cost {
  public:
    // `times`: how often the target goes through the input. `lines_of_a_byte`: where lines are asked for.
    Cost(size_t input, unsigned int times, unsigned int lines_of_a_byte = 0);
    ~Cost();
    Cost(const Cost&) = delete;
    Cost& operator=(const Cost&) = delete;

  private:
    uint64_t most_bytes_, most_claims_, most_lines_;
};

// Calls of the host's that opening or walking a file of so many bytes may make.
inline constexpr uint64_t most_calls(size_t file) {
    return 32 * uint64_t{file} + 20000;
}

}  // namespace qlip_fuzz
