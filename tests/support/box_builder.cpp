#include "tests/support/box_builder.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string>

#include "common/byte_order.h"

namespace qlip_test {

ByteWriter& ByteWriter::u8(unsigned int value) {
    bytes_.push_back(static_cast<unsigned char>(value));
    return *this;
}

ByteWriter& ByteWriter::u16(unsigned int value) {
    return u8(value >> 8).u8(value);
}

ByteWriter& ByteWriter::u24(unsigned int value) {
    return u8(value >> 16).u16(value);
}

ByteWriter& ByteWriter::u32(unsigned int value) {
    return u16(value >> 16).u16(value);
}

ByteWriter& ByteWriter::text(std::string_view characters) {
    for (const char character : characters)
        u8(static_cast<unsigned char>(character));
    return *this;
}

ByteWriter& ByteWriter::zeros(size_t count) {
    bytes_.insert(bytes_.end(), count, 0);
    return *this;
}

ByteWriter& ByteWriter::raw(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
}

Bytes box(std::string_view type, const Bytes& payload) {
    return ByteWriter().u32(static_cast<unsigned int>(payload.size() + 8)).text(type).raw(payload);
}

Bytes container(std::string_view type, std::initializer_list<Bytes> children) {
    return box(type, join(children));
}

Bytes full_box(std::string_view type, const Bytes& payload, unsigned int version, unsigned int flags) {
    return box(type, ByteWriter().u8(version).u24(flags).raw(payload));
}

Bytes table(std::string_view type, size_t count, const std::vector<unsigned int>& words) {
    ByteWriter out;
    out.u32(static_cast<unsigned int>(count));
    for (const unsigned int word : words)
        out.u32(word);
    return full_box(type, out);
}

Bytes join(std::initializer_list<Bytes> parts) {
    ByteWriter out;
    for (const Bytes& part : parts)
        out.raw(part);
    return out;
}

size_t find_box(const Bytes& file, std::string_view type, unsigned int n) {
    for (auto at = file.begin();; ++at) {
        at = std::search(at, file.end(), type.begin(), type.end());
        if (at == file.end()) throw std::invalid_argument("no such box");
        if (n-- == 0) return static_cast<size_t>(at - file.begin());
    }
}

void set_u32(Bytes& file, size_t offset, unsigned int value) {
    qlip::store_be32(file.data() + offset, value);
}

Bytes hex(std::string_view digits) {
    std::string text;
    for (const char c : digits) {
        if (!std::isspace(static_cast<unsigned char>(c))) text.push_back(c);
    }
    if (text.size() % 2 != 0) throw std::invalid_argument("odd number of hexadecimal digits");
    Bytes out;
    for (size_t i = 0; i < text.size(); i += 2) {
        out.push_back(static_cast<unsigned char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return out;
}

}  // namespace qlip_test
