// Box bytes written the way a box diagram reads.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "tests/support/memory_host.h"

namespace qlip_test {

// Appends big-endian fields; every call returns the writer, so that fields chain.
class ByteWriter {
  public:
    ByteWriter() { bytes_.reserve(kUsual); }
    ByteWriter& u8(unsigned int value);
    ByteWriter& u16(unsigned int value);
    ByteWriter& u24(unsigned int value);
    ByteWriter& u32(unsigned int value);
    ByteWriter& text(std::string_view characters);  // no terminator
    ByteWriter& zeros(size_t count);
    ByteWriter& raw(const Bytes& bytes);
    operator Bytes() const { return bytes_; }
    const Bytes& bytes() const { return bytes_; }

  private:
    static constexpr size_t kUsual = 128;  // bytes of a box
    Bytes bytes_;
};

// A box of its payload, or of children; full_box adds version and flags.
Bytes box(std::string_view type, const Bytes& payload = {});
Bytes container(std::string_view type, std::initializer_list<Bytes> children);
Bytes full_box(std::string_view type, const Bytes& payload, unsigned int version = 0, unsigned int flags = 0);

// Rows of 32-bit words behind version, flags and a row count.
Bytes table(std::string_view type, size_t count, const std::vector<unsigned int>& words);

Bytes join(std::initializer_list<Bytes> parts);

// Where the type of a box stands, the n-th of its type in the file (from 0); and a word set anew, big-endian.
size_t find_box(const Bytes& file, std::string_view type, unsigned int n = 0);
void set_u32(Bytes& file, size_t offset, unsigned int value);

// Bytes from hexadecimal text; blanks are passed over.
Bytes hex(std::string_view digits);

}  // namespace qlip_test
