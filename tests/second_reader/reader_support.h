// Movies for the second reader, and the ways in which tests read them.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "qlip/c3gpinterface.h"
#include "tests/support/box_builder.h"
#include "tests/support/memory_host.h"
#include "tests/support/movie_builder.h"

namespace qlip_test {

constexpr unsigned int kVideoHeaderBytes = 92;
constexpr unsigned int kAudioHeaderBytes = 68;

// H.263 of `frames` media samples, ten a second, and a hint track with one packet for each. Media sample n
// (from 1) is 40 + n bytes of value n; sequence numbers count from 1.
MoviePlan video_plan(unsigned int frames);

// AMR of `frames` media samples of 13 bytes, each begun by the frame type `types` (in turn), 20 ms apart, and
// a hint track with one packet for each: a payload header, and the sample.
MoviePlan audio_plan(unsigned int frames, const std::vector<unsigned int>& types = {7});

constexpr size_t kMedia = 0;  // tracks of both plans
constexpr size_t kHint = 1;

// A hint sample of one packet that takes a media sample whole.
Bytes whole_sample_hint(unsigned int number, unsigned int length, unsigned int sequence, bool marker = true);

// Open on a host of its own; the test fails when the status is another.
struct OpenReader {
    explicit OpenReader(Bytes file, const char* mode = "rv", unsigned int status = 0,
                        unsigned int frame_bytes = 65536);
    std::unique_ptr<MemoryHost> host;
    std::unique_ptr<C3gpInterface> reader;
};

struct Delivery {
    unsigned int status = 0;
    Bytes bytes = {};
    bool operator==(const Delivery&) const = default;
    Delivery& operator+=(const Delivery& next);  // its bytes behind, its status in place
};

// One ReadChunk of `size` bytes, at most 1 MiB.
Delivery read_chunk(C3gpInterface& reader, unsigned int size, bool indexed = false);

// Everything up to the end, in requests of `size` bytes; the status is that of the last call.
Delivery read_all(C3gpInterface& reader, unsigned int size, bool indexed);

// The next frame record by its size word; the last status.
Delivery read_frame(C3gpInterface& reader, bool indexed = false);

// A seek, with the request's other fields as they were.
struct Landing {
    unsigned int status = 0;
    unsigned int time = 0, frame = 0, offset = 0;
    bool operator==(const Landing&) const = default;
};

Landing seek(C3gpInterface& reader, unsigned int time, unsigned int flags);

// The file's stream as a whole.
Bytes whole_stream(const Bytes& file, const char* mode, bool indexed = false);

// The frame records behind the header.
std::vector<Bytes> frames_of(const Bytes& stream);

// Little-endian word at an offset.
unsigned int word_at(const Bytes& bytes, size_t offset);

// Of the n-th track in the file (from 0).
std::vector<unsigned int> chunk_offsets(const Bytes& file, unsigned int n);

// Offsets of the reads whose size is that given, and of the calls of one slot.
std::vector<unsigned int> read_offsets(const MemoryHost& host, unsigned int size);
std::vector<unsigned int> offsets_of(const MemoryHost& host, Slot slot);

}  // namespace qlip_test
