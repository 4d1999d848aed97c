// Arbitrary bytes as a file, opened and streamed. Its last byte says in which read mode, as sound or as
// video.
#include <cstdint>

#include "fuzz/chunk_reader.h"
#include "fuzz/cost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qlip_test::MemoryHost host(qlip_test::Bytes(data, data + size));
    host.keep_log = false;
    const qlip_fuzz::Cost cost(size, 4);
    constexpr int kChunks = 400;
    const unsigned int choice = size > 0 ? data[size - 1] : 0;
    qlip_fuzz::ChunkReader::stream(host, choice & 1 ? "ra" : "rv", choice & 2, kChunks);
    return 0;
}
