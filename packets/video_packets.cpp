#include "packets/video_packets.h"

#include <cstdio>

using namespace qlip;

void qlip::print_cut(size_t old_length, const Piece& cut) {
    const auto before = static_cast<int>(old_length);
    const auto after = static_cast<int>(cut.size);
    std::fprintf(stderr, "Fragmenting payload: old_len=%d new_len=%d", before, after);
    if (cut.place == CutPlace::start_code) std::fprintf(stderr, ", at start code\n");
    if (cut.place == CutPlace::arbitrary) std::fprintf(stderr, ", at arbitrary position\n");
    if (cut.place == CutPlace::macroblock) std::fprintf(stderr, ", at MB boundary, ebit=%d\n", cut.ebit);
}
