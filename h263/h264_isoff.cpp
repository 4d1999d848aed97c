#include "h263/h264_isoff.h"

#include "common/byte_order.h"
#include "qlip/wld_native.h"

namespace {

unsigned int read_nal_size(const unsigned char* data, int prefix_size) {
    switch (prefix_size) {
        case 1:
            return data[0];
        case 2:
            return qlip::load_be16(data);
        case 3:
            return qlip::load_be24(data);
        default:
            return qlip::load_be32(data);
    }
}

}  // namespace

unsigned int h264_get_nal_size(unsigned char* data, int prefix_size) {
    return read_nal_size(data, prefix_size);
}

int qlip::nal_prefix_bytes(unsigned int prefix_size) {
    return prefix_size >= 1 && prefix_size <= 3 ? static_cast<int>(prefix_size) : 4;
}

std::optional<std::span<const unsigned char>> qlip::next_nal(std::span<const unsigned char>& left,
                                                             unsigned int prefix_size) {
    const int prefix = nal_prefix_bytes(prefix_size);
    if (left.size() < static_cast<size_t>(prefix)) return std::nullopt;
    const size_t size = read_nal_size(left.data(), prefix);
    const auto behind = left.subspan(static_cast<size_t>(prefix));
    if (size > behind.size()) return std::nullopt;
    left = behind.subspan(size);
    return behind.first(size);
}
