// The packets of one frame: where they lie, and their headers (RFC 3550 5.1).
#pragma once

#include <sys/uio.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "common/byte_order.h"
#include "formats/rtp.h"
#include "qlip/host.h"

namespace qlip::kit {

inline constexpr size_t kHeaderSize = kRtpHeaderBytes;
static_assert(kHeaderSize == QLIP_RTP_HEADER_SIZE);

inline void write_rtp_header(unsigned char* at, uint32_t first_word, uint32_t timestamp, uint32_t ssrc) {
    store_be32(at, first_word);
    store_be32(at + kRtpTimestampAt, timestamp);
    store_be32(at + kRtpSsrcAt, ssrc);
}

// Packets are added behind the others. Some can stand in front, for which there is room.
class PacketList {
  public:
    PacketList() = default;
    PacketList(size_t in_front, size_t most)
        : entries_(new iovec[in_front + most]), in_front_(in_front), capacity_(in_front + most) {
        clear();
    }

    void clear() { first_ = end_ = in_front_; }
    bool empty() const { return first_ == end_; }
    size_t size() const { return end_ - first_; }
    iovec* begin() { return entries_.get() + first_; }
    iovec* end() { return entries_.get() + end_; }

    // False when there is no room left. `size` counts the header, which is written later.
    bool add(unsigned char* packet, size_t size) {
        if (end_ == capacity_) return false;
        entries_[end_++] = {packet, size};
        return true;
    }

    void move_last_to(size_t place) { std::rotate(begin() + place, end() - 1, end()); }

    void add_in_front(unsigned char* packet, size_t size) { entries_[--first_] = {packet, size}; }

  private:
    std::unique_ptr<iovec[]> entries_;
    size_t in_front_ = 0;
    size_t capacity_ = 0;
    size_t first_ = 0;
    size_t end_ = 0;
};

inline unsigned char* payload_of(const iovec& packet) {
    return static_cast<unsigned char*>(packet.iov_base) + kHeaderSize;
}

inline size_t payload_size(const iovec& packet) {
    return packet.iov_len - kHeaderSize;
}

}  // namespace qlip::kit
