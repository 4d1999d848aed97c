// The search for the next start code: 16 zero bits and a 1 bit, on the byte grid or off it.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>

#include "h263/start_code.h"
#include "h263/walk.h"

using namespace qlip;

namespace {

// Every round starts behind the run of zero bytes that the round before looked at, so that the search passes
// over the data once.
class BoundarySearch {
  public:
    BoundarySearch(tbq_state_t& state, unsigned char* data, unsigned long size, const tbq_pos_t& from)
        : state_(state), data_(data), size_(size), cur_(advanced(from, 0)) {}

    tbq_boundary_t run() {
        while (to_byte_behind_zeros()) {
            if (const auto kind = kind_on_byte_grid()) return *kind;
            if (!to_unaligned_start()) continue;
            const auto kind = kind_off_byte_grid();
            if (!kind) return TBQ_BOUNDARY_NONE;
            if (*kind != TBQ_BOUNDARY_NONE) return *kind;
        }
        return TBQ_BOUNDARY_NONE;
    }

    const tbq_pos_t& found() const { return found_; }

  private:
    // To the byte behind the next run of zero bytes. False if the run reaches the end of the data.
    bool to_byte_behind_zeros() {
        found_ = cur_;
        if (cur_.byte >= size_) return false;
        if (cur_.bit != 0) cur_ = {cur_.byte + 1, 0};
        const void* zero = cur_.byte < size_ ? std::memchr(data_ + cur_.byte, 0, size_ - cur_.byte) : nullptr;
        if (!zero) return false;
        const auto first = static_cast<unsigned long>(static_cast<const unsigned char*>(zero) - data_);
        cur_.byte = first;
        while (cur_.byte < size_ && data_[cur_.byte] == 0)
            ++cur_.byte;
        zero_bytes_ = cur_.byte - first;
        return cur_.byte < size_;
    }

    std::optional<tbq_boundary_t> kind_on_byte_grid() {
        const unsigned char behind = data_[cur_.byte];
        if (zero_bytes_ < 2 || !ends_start_code(behind)) return std::nullopt;
        found_ = {cur_.byte - 2, 0};
        return ends_picture_code(behind) ? TBQ_BOUNDARY_PICTURE : TBQ_BOUNDARY_SEGMENT;
    }

    // To the first 1 bit, with found_ 16 bits ahead of it. False if fewer than 16 zero bits lie between the
    // start of this round and there.
    bool to_unaligned_start() {
        cur_.bit = static_cast<unsigned int>(__builtin_clz(data_[cur_.byte])) - 24;
        const unsigned long zeros = 8 * zero_bytes_ + cur_.bit;
        const auto distance = static_cast<uint32_t>(8 * (cur_.byte - found_.byte) + cur_.bit - found_.bit);
        if (distance < kStartCodeZeros) return false;
        found_ = advanced(found_, distance - kStartCodeZeros);
        return zeros >= kStartCodeZeros || zeros + zeros_ending_found_byte() >= kStartCodeZeros;
    }

    // Zero bits at the low end of the byte at found_, not counting those ahead of found_.
    unsigned long zeros_ending_found_byte() const {
        const unsigned int most = 8 - found_.bit;
        const unsigned char byte = data_[found_.byte];
        const auto zeros = byte == 0 ? 8U : static_cast<unsigned int>(__builtin_ctz(byte));
        return zeros < most ? zeros : most;
    }

    // TBQ_BOUNDARY_NONE: not a boundary here, go on. Nothing: the data ends before that can be told.
    std::optional<tbq_boundary_t> kind_off_byte_grid() {
        int out_of_data = 0;
        const unsigned long code = tbq_bits_get(data_, size_, &cur_, &cur_, kStartCodeTail, &out_of_data);
        if (out_of_data != 0) return std::nullopt;
        if (code != kPictureTail && state_.picture.ss == 0) return TBQ_BOUNDARY_SEGMENT;
        tbq_err_print(&state_, code == kPictureTail ? TBQ_ERR_UNALIGNED_PICTURE : TBQ_ERR_UNALIGNED_SLICE,
                      &cur_, -int{kStartCodeTail});
        return TBQ_BOUNDARY_NONE;
    }

    tbq_state_t& state_;
    unsigned char* data_;
    unsigned long size_;
    tbq_pos_t cur_;
    tbq_pos_t found_{};
    unsigned long zero_bytes_ = 0;
};

void print_boundary(const tbq_state_t& state, tbq_boundary_t kind, const tbq_pos_t& pos) {
    printf("boundary_type = %20s", tbq_boundary_to_str(kind));
    printf(",  byte = %#6x, bit = %u\n", printed_byte(state, pos), pos.bit);
}

}  // namespace

tbq_boundary_t tbq_boundary_next(tbq_state_t* state, unsigned char* buf, unsigned long size,
                                 const tbq_pos_t* in, tbq_pos_t* out, int* err) {
    BoundarySearch search(*state, buf, size, *in);
    const tbq_boundary_t kind = *err == 0 ? search.run() : TBQ_BOUNDARY_NONE;
    if (kind == TBQ_BOUNDARY_NONE) {
        *err = 1;
        *out = *in;
        return kind;
    }
    state->picture.first_segment = 0;
    *out = search.found();
    if (state->trace != 0) print_boundary(*state, kind, *out);
    return kind;
}

const char* tbq_boundary_to_str(tbq_boundary_t /*kind*/) {
    return "";
}
