// A session of libqlip, read chunk by chunk, and the truth about files that are cut or growing.
#pragma once

#include <memory>

#include "kit/chunk_length.h"
#include "kit/engine_io.h"
#include "kit/frame_reader.h"
#include "kit/trouble.h"

namespace qlip::kit {

class ChunkReader {
  public:
    ChunkReader(Source& source, Trouble& trouble) : source_(source), trouble_(trouble), io_(source) {}
    ~ChunkReader() { qlip_Close(&session_); }
    ChunkReader(const ChunkReader&) = delete;
    ChunkReader& operator=(const ChunkReader&) = delete;

    // `pictures`: how many frames a video track without hints has, 0 for any other. `bytes`: of the samples.
    int open(const Structure& structure, qlip_medium medium, uint32_t pictures, uint64_t bytes);

    // `ahead` reads the same track by frames. A session loses pictures whose data is not there, so it is only
    // asked for the ones that `ahead` could read.
    int next(FrameReader* ahead, Draft& draft, const void** chunk, size_t* size);

    uint64_t needed() const { return io_.needed(); }

  private:
    int look_ahead(FrameReader& ahead, Draft& draft);
    int failure(int status);
    int end_of_session();

    Source& source_;
    Trouble& trouble_;
    EngineIo io_;
    mm_Interface* session_ = nullptr;
    std::unique_ptr<unsigned char[]> chunk_;
    ChunkLength length_;
    bool seen_ahead_ = false;
    uint32_t pictures_ = 0, pictures_read_ = 0;
    uint64_t bytes_ = 0;
    uint64_t delivered_ = 0;
};

}  // namespace qlip::kit
