// Arbitrary bytes as a file, opened and streamed in both read modes, as sound or as video as its last byte
// says.
#include <cstdint>

#include "fuzz/chunk_reader.h"
#include "fuzz/cost.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    qlip_test::MemoryHost host(qlip_test::Bytes(data, data + size));
    host.keep_log = false;
    const qlip_fuzz::Cost cost(size, 4);
    constexpr int kChunks = 400;
    const char* mode = size > 0 && data[size - 1] & 1 ? "ra" : "rv";
    for (const bool indexed : {false, true})
        qlip_fuzz::ChunkReader::stream(host, mode, indexed, kChunks);
    return 0;
}
