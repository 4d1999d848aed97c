// What an input costs while it is handled, held against its size when the Cost goes: bytes allocated and
// lines written to standard output or the system log. A target adds its own counts of the host's calls.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qlip_fuzz {

class Cost {
  public:
    // `times`: how often the target goes through the input.
    Cost(size_t input, unsigned int times);
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
