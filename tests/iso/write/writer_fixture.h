// A file being written into memory, and the boxes that are expected of it.
#pragma once

#include <string>

#include "qlip/isoff.h"
#include "tests/support/box_builder.h"
#include "tests/support/little_endian.h"
#include "tests/support/memory_file.h"

namespace qlip_test {

inline constexpr unsigned int kCreated = 0x11223344;

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

// The moov boxes of the two kinds of track above, with constant durations.
struct ExpectedTrack {
    unsigned int samples = 0;
    Bytes stsz;  // payload behind version and flags
    std::vector<unsigned int> offsets;
};

Bytes expected_ftyp();
Bytes expected_mvhd(unsigned int duration, unsigned int next_track_id);
Bytes expected_amr_trak(unsigned int id, unsigned int movie_duration, const ExpectedTrack& expected);
Bytes expected_h263_trak(unsigned int id, unsigned int movie_duration, const ExpectedTrack& expected);

// The samples of a track from its cursor on. Each is checked to lie inside the file.
std::vector<Bytes> samples_of(iso_track* track);

// Those of track `index` of a finished file, or nothing when there is no such track.
std::vector<Bytes> read_back(const Bytes& file, int index);

}  // namespace qlip_test
