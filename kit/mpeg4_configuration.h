// The decoder configuration of MPEG-4 visual (ISO/IEC 14496-2 6.2), which goes in front of intra pictures
// that do not bring their own, so that a receiver may join at any of them.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "qlip/isoff.h"

namespace qlip::kit {

class Mpeg4Configuration {
  public:
    Mpeg4Configuration() = default;
    explicit Mpeg4Configuration(const iso_track* track);

    // What has to go in front of a picture that begins with these bytes: nothing, where it is not intra or
    // brings its own, which then takes the place of the one in hand.
    std::span<const unsigned char> in_front_of(std::span<const unsigned char> picture);

    size_t room() const { return bytes_.capacity(); }

  private:
    std::vector<unsigned char> bytes_;  // never grows beyond its first capacity
};

}  // namespace qlip::kit
