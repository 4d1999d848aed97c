// Big-endian numbers in bytes that may be fewer than they should be: what is not there reads as 0.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>

#include "common/byte_order.h"

namespace qlip_tool {

class Fields {
  public:
    explicit Fields(std::span<const unsigned char> bytes) : bytes_(bytes) {}

    uint32_t u8(size_t at) const { return at < bytes_.size() ? bytes_[at] : 0; }
    uint32_t u16(size_t at) const { return qlip::load_be16(word(at).data()); }
    uint32_t u32(size_t at) const { return qlip::load_be32(word(at).data()); }

    size_t size() const { return bytes_.size(); }
    // Rows of a table that are there, of those that it says.
    size_t rows(size_t at, size_t row_size, uint64_t said) const {
        const size_t room = at < bytes_.size() ? (bytes_.size() - at) / row_size : 0;
        return said < room ? static_cast<size_t>(said) : room;
    }
    std::span<const unsigned char> from(size_t at, size_t size) const {
        const size_t begin = at < bytes_.size() ? at : bytes_.size();
        return bytes_.subspan(begin, size < bytes_.size() - begin ? size : bytes_.size() - begin);
    }

  private:
    std::array<unsigned char, 4> word(size_t at) const {
        std::array<unsigned char, 4> bytes{};
        const auto there = from(at, bytes.size());
        std::copy(there.begin(), there.end(), bytes.begin());
        return bytes;
    }

    std::span<const unsigned char> bytes_;
};

}  // namespace qlip_tool
