// A file being written into memory, and what it holds.
#pragma once

#include <string>

#include "qlip/isoff.h"
#include "tests/support/box_builder.h"
#include "tests/support/little_endian.h"
#include "tests/support/memory_file.h"

namespace qlip_test {

class WriterFixture {
  public:
    WriterFixture();
    ~WriterFixture();
    WriterFixture(const WriterFixture&) = delete;
    WriterFixture& operator=(const WriterFixture&) = delete;

    // Direct mode for the given number of tracks.
    void direct(int tracks);

    iso_track* add_amr();                              // 8,000 units a second, 160 a frame
    iso_track* add_h263(unsigned int timescale = 30);  // 128 by 96, one unit a frame

    // A frame of `size` bytes that all hold `fill`.
    int write(iso_track* track, int size, unsigned char fill, int delta = 0, int cto = 0);

    // Closes the file and returns what the output holds.
    const Bytes& close();

    iso_file* file = nullptr;
    MemoryFile out;

  private:
    MemoryHost nothing_;
};

// The samples of a track from its cursor on. Each is checked to lie inside the file.
std::vector<Bytes> samples_of(iso_track* track);

// Those of track `index` of a finished file, or nothing when there is no such track.
std::vector<Bytes> read_back(const Bytes& file, int index);

}  // namespace qlip_test
