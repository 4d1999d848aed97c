// Big-endian numbers in bytes that may be fewer than they should be: what is not there reads as 0.
#pragma once

#include <cstdint>
#include <span>

namespace qlip_tool {

class Fields {
  public:
    explicit Fields(std::span<const unsigned char> bytes) : bytes_(bytes) {}

    uint32_t u8(size_t at) const { return at < bytes_.size() ? bytes_[at] : 0; }
    uint32_t u16(size_t at) const { return u8(at) << 8 | u8(at + 1); }
    uint32_t u32(size_t at) const { return u16(at) << 16 | u16(at + 2); }

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
    std::span<const unsigned char> bytes_;
};

}  // namespace qlip_tool
