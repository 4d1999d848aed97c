#include "boxes/input.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "common/byte_order.h"

namespace qlip {

RunGuard::RunGuard(Vorn3gp::Stream stream, unsigned int count) : stream_(stream), watches_(count > kWindow) {
    if (watches_) furthest_ = Vorn3gp::macro_Tell(stream_);
}

void RunGuard::next(unsigned int values) {
    if (!watches_) return;
    if (values_ >= kWindow) {
        const unsigned int now = Vorn3gp::macro_Tell(stream_);
        if (now <= furthest_) throw std::bad_alloc();
        furthest_ = now;
        values_ = 0;
    }
    values_ += values;
}

TableRows::TableRows(Vorn3gp::Stream stream, unsigned int rows, unsigned int words_a_row)
    : stream_(stream), rows_left_(rows), words_a_row_(words_a_row), guard_(stream, rows) {}

std::span<const unsigned int> TableRows::next_piece() {
    const unsigned int rows = std::min(rows_left_, RunGuard::kWindow);
    guard_.next(rows);
    const unsigned int words = rows * words_a_row_;
    fill(words * 4);
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
        const unsigned int arrived = read_some(stream_, data + done, bytes - done);
        if (arrived == 0) return;
        done += arrived;
    }
}

std::vector<unsigned char> read_bytes(Vorn3gp::Stream& stream, unsigned int count) {
    std::vector<unsigned char> bytes;
    RunGuard guard(stream, count);
    for (unsigned int i = 0; i < count; ++i) {
        guard.next(1);
        unsigned char byte = 0;
        var8_read_noswap(stream, byte);
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace qlip
