// Films drawn from a run of bytes: sound tables around arbitrary samples, configurations and hint samples of
// their own grammar, and every further box in its place, with sizes that fit.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "tests/support/movie_builder.h"

namespace qlip_fuzz {

// A decision at a time; zeros behind the end.
class Draws {
  public:
    Draws(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}
    bool any() const { return at_ != end_; }
    unsigned int byte() { return any() ? *at_++ : 0; }
    unsigned int pair() {
        const unsigned int high = byte();
        return high << 8 | byte();
    }
    unsigned int word() {
        const unsigned int high = pair();
        return high << 16 | pair();
    }
    unsigned int below(unsigned int n) { return byte() % n; }
    bool one_in(unsigned int n) { return below(n) == n - 1; }
    qlip_test::Bytes bytes(size_t wanted) {
        const size_t size = std::min<size_t>(wanted, static_cast<size_t>(end_ - at_));
        at_ += size;
        return qlip_test::Bytes(at_ - size, at_);
    }

  private:
    const uint8_t *at_, *end_;
};

qlip_test::Bytes draw_hint_sample(Draws& draws);
qlip_test::Bytes draw_visual_entry(Draws& draws);

// Media tracks of every codec, hinted or not.
qlip_test::MoviePlan draw_film(Draws& draws);

}  // namespace qlip_fuzz
