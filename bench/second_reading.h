// What is measured of the second reader: a reader that takes a film frame by frame, as a host does that
// follows the frame records, and beside it a floor, a program that makes the same callbacks over the same
// file, and copies each frame's bytes twice (into the frame buffer, and to the caller in two requests), with
// no logic in between.
#pragma once

#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "qlip/c3gpinterface.h"

namespace qlip_bench {

constexpr unsigned int kFrameRoom = 4096;
constexpr unsigned int kSizeWord = 4;  // a frame's first word, by which its length is known

// Kept for all that ask.
const Bytes& hinted_movie(Content content, size_t samples);

const char* mode_of(Content content);

// An open reader whose stream stands behind the header.
class HintedSession {
  public:
    HintedSession(const Bytes& movie, Content content, bool indexed);

    bool read(unsigned char* to, unsigned int size);

    // One frame, by the size in its first word. Result: that size, 0 at the end.
    unsigned int read_frame(unsigned char* to);

    BenchHost host;

  private:
    C3gpInterface reader_{kFrameRoom};
    bool indexed_;
};

// What the frames of a steady stream take, recorded from the library: one period, at the end of which
// everything comes again a little further on in the file.
struct HintedRecording {
    struct Call {
        BenchHost::Call first;
        unsigned int advance;  // of its offset, a period
    };

    HintedRecording(const Bytes& movie, Content content, bool indexed);

    std::vector<Call> calls;
    size_t calls_a_frame;
    unsigned int frame_bytes;  // all frames are of one size
    size_t periods;
};

// Frames and bytes of them.
struct Taken {
    int64_t frames = 0;
    int64_t bytes = 0;
};

Taken read_library(HintedSession& session);
Taken read_floor(const HintedRecording& recording, BenchHost& host);

}  // namespace qlip_bench
