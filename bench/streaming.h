// What is measured: a session that reads a film from end to end, and beside it a floor, a program that makes
// the same callbacks and the same number of calls over the same file, and copies each chunk's bytes twice,
// packet by packet, with no logic in between.
#pragma once

#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "qlip/qlip.h"

namespace qlip_bench {

// A file to stream: the pictures of the long files are small, so that they fit in memory.
struct Film {
    Content content;
    size_t samples;
    size_t picture;

    bool operator==(const Film&) const = default;
};

class Session {
  public:
    explicit Session(const Film& film);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool read(unsigned char* chunk);

    BenchHost host;

  private:
    mm_Interface* handle_ = nullptr;
};

// What the chunks of a steady stream look like, recorded from the library behind its header: one period, at
// the end of which everything comes again a little further on in the file.
struct Recording {
    struct Call {
        BenchHost::Call first;
        unsigned int advance;  // of its offset, a period
    };
    struct Chunk {
        std::vector<unsigned int> pieces;  // the packets of a frame body; of other chunks one
        size_t calls;
    };

    explicit Recording(const Film& film);

    Film film;
    std::vector<Call> calls;
    std::vector<Chunk> chunks;
    size_t periods;
};

// Memory of its own that this process has touched, in bytes, to the page: the counts of statm lag behind.
double touched_memory();

// Each reads a whole film and returns the number of chunks.
int64_t stream_library(Session& session, unsigned char* chunk);
int64_t stream_floor(const Recording& recording, BenchHost& host);

}  // namespace qlip_bench
