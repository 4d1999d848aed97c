// A host of the kit, for tests: keeps what a stream delivers, checked for all that holds for every frame.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qlip/host.h"
#include "tests/support/memory_host.h"

namespace qlip_test {

struct SentFrame {
    qlip_frame facts;             // `packets` has no meaning any more
    std::vector<Bytes> payloads;  // of its packets, without the RTP headers
};

// What a stream is opened with for chunks.
inline const qlip_stream_options kInChunks = [] {
    qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT;
    options.chunks = 1;
    return options;
}();

class KitPlayer {
  public:
    // A source over memory. With `arrived`, it grows, and has so many bytes.
    explicit KitPlayer(Bytes file);
    KitPlayer(Bytes file, size_t arrived);
    ~KitPlayer();
    KitPlayer(const KitPlayer&) = delete;
    KitPlayer& operator=(const KitPlayer&) = delete;

    int open(qlip_medium medium, qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT);

    // Opens, and reads to the end.
    const std::vector<SentFrame>& play(qlip_medium medium,
                                       qlip_stream_options options = QLIP_STREAM_OPTIONS_INIT);

    // The next frame goes to `frames`. Its headers are compared with what the stream said it would be.
    int read();

    // Reads to the first status other than 0, which becomes `end`, and returns the frames.
    const std::vector<SentFrame>& rest();

    // The same of a stream of chunks.
    std::vector<Bytes> rest_in_chunks();

    qlip_source* source = nullptr;
    qlip_stream* stream = nullptr;
    std::vector<SentFrame> frames;
    int end = 0;
    std::string open_error;

  private:
    void check_headers(const qlip_frame& frame, const qlip_stream_info& info);

    const Bytes file_;
    uint16_t next_sequence_ = 0;
};

// All packets of some frames, in order.
std::vector<Bytes> payloads_of(const std::vector<SentFrame>& frames);

// What a session delivers of the same track: payloads and their timestamps, frame by frame.
std::vector<SentFrame> native_frames(const Bytes& file, const char* mode);

}  // namespace qlip_test
