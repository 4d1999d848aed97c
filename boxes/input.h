// Reading runs of values: what bounds them when the counts come from a hostile file.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "qlip/vorn3gp/stream.h"

namespace qlip {

// As macro_Read, and returns how many bytes arrived.
unsigned int read_some(Vorn3gp::Stream stream, unsigned char* data, unsigned int count);

// Watches a run whose length comes from the file. The end of the stream is no failure, so a run that goes on
// behind it would last until memory is used up; it ends with std::bad_alloc, as that would, once a whole
// window of values has brought the stream no further.
class RunGuard {
  public:
    static constexpr unsigned int kWindow = 4096;

    RunGuard(Vorn3gp::Stream stream, unsigned int count);

    // Before the next so many values.
    void next(unsigned int values);

  private:
    Vorn3gp::Stream stream_;
    bool watches_;
    unsigned int values_ = 0;  // since the last look at the position
    unsigned int furthest_ = 0;
};

// The rows of a table of 32-bit words, read in large pieces and handed out in machine order.
class TableRows {
  public:
    TableRows(Vorn3gp::Stream stream, unsigned int rows, unsigned int words_a_row);

    // The words of some further whole rows; empty behind the last.
    std::span<const unsigned int> next_piece();

  private:
    static constexpr size_t kMostWordsARow = 3;

    void fill(unsigned int bytes);

    Vorn3gp::Stream stream_;
    unsigned int rows_left_;
    unsigned int words_a_row_;
    RunGuard guard_;
    std::array<unsigned int, RunGuard::kWindow * kMostWordsARow> words_;
};

// `count` single bytes.
std::vector<unsigned char> read_bytes(Vorn3gp::Stream& stream, unsigned int count);

}  // namespace qlip
