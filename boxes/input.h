// Reading runs of values whose counts come from the file. All of them are metered, so that a count which the
// file does not back ends with std::bad_alloc.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "boxes/meter.h"

namespace qlip {

// The rows of a table of 32-bit words, read in large pieces and handed out in machine order.
class TableRows {
  public:
    TableRows(Vorn3gp::Stream stream, unsigned int rows, unsigned int words_a_row);

    // Whether there may be memory for all rows at once, being as many as a file of that size can hold.
    bool may_reserve(unsigned int file_size);

    // The words of some further whole rows; empty behind the last.
    std::span<const unsigned int> next_piece();

  private:
    static constexpr unsigned int kPiece = 4096;  // rows
    static constexpr size_t kMostWordsARow = 3;

    void fill(unsigned int bytes);

    Metered metered_;
    unsigned int rows_left_;
    unsigned int words_a_row_;
    std::array<unsigned int, kPiece * kMostWordsARow> words_;
};

// `count` single bytes.
std::vector<unsigned char> read_bytes(Vorn3gp::Stream stream, unsigned int count);

}  // namespace qlip
