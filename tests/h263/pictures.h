// Real H.263 pictures: the samples' and such as ffmpeg's encoder makes.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/memory_host.h"

namespace qlip_test {

struct Clip {
    const char* name;
    const char* command;  // writes an elementary stream to its standard output
    int macroblocks;      // of each picture
};

inline void PrintTo(const Clip& clip, std::ostream* out) {
    *out << clip.name;
}

// Sub-QCIF, QCIF and CIF, intra and inter pictures, without group headers; CIF pictures of more than 5,000
// bytes, some with PLUSPTYPE, Deblocking Filter and four vectors.
extern const std::vector<Clip> kClips;

// QCIF with group headers in front of some groups.
extern const Clip kClipWithGroups;

// The elementary stream of a clip. Throws when the command fails.
Bytes stream_of(const Clip& clip);

// Offsets of the picture start codes in an elementary stream, and its end.
std::vector<size_t> picture_offsets(const Bytes& stream);

std::vector<Bytes> pictures_of(const Clip& clip);

}  // namespace qlip_test
