#include "boxes/input.h"

#include <algorithm>
#include <cstring>

#include "boxes/checked_calls.h"
#include "common/byte_order.h"

namespace qlip {

TableRows::TableRows(Vorn3gp::Stream stream, unsigned int rows, unsigned int words_a_row)
    : metered_(stream), rows_left_(rows), words_a_row_(words_a_row) {}

bool TableRows::may_reserve(unsigned int file_size) {
    return Meter::of(metered_.stream())->may_reserve(uint64_t{rows_left_} * words_a_row_ * 4, file_size);
}

std::span<const unsigned int> TableRows::next_piece() {
    const unsigned int rows = std::min(rows_left_, kPiece);
    const unsigned int words = rows * words_a_row_;
    fill(words * 4);
    metered_.take_memory(words * 4);
    load_be32_run(words_.data(), words_.data(), words);
    rows_left_ -= rows;
    return {words_.data(), words};
}

// A host may deliver a large read in several short ones. What it does not deliver is zero.
void TableRows::fill(unsigned int bytes) {
    auto* const data = reinterpret_cast<unsigned char*>(words_.data());
    std::memset(data, 0, bytes);
    unsigned int done = 0;
    while (done < bytes) {
        const unsigned int arrived = read_some(metered_.stream(), data + done, bytes - done);
        if (arrived == 0) return;
        done += arrived;
    }
}

std::vector<unsigned char> read_bytes(Vorn3gp::Stream stream, unsigned int count) {
    std::vector<unsigned char> bytes;
    Metered metered(stream);
    for (unsigned int i = 0; i < count; ++i) {
        unsigned char byte = 0;
        var8_read_noswap(metered.stream(), byte);
        metered.take_memory(1);
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace qlip
