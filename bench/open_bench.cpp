// Opening a file of a million samples beside a floor that reads the same moov with one callback and swaps the
// bytes of its tables once into fresh memory.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "bench/streaming.h"
#include "common/byte_order.h"
#include "qlip/qlip.h"

namespace qlip_bench {
namespace {

constexpr size_t kSamples = 1000000;

const Bytes& movie() {
    static const Bytes bytes = make_movie(Content::AmrOneFrame, kSamples);
    return bytes;
}

// moov stands behind ftyp.
unsigned int moov_size() {
    const unsigned int ftyp = qlip::load_be32(movie().data());
    return qlip::load_be32(movie().data() + ftyp);
}

void BM_floor(benchmark::State& state) {
    const unsigned int size = moov_size();
    BenchHost host(movie());
    for (auto _ : state) {
        auto* io = host.record();
        auto* moov = static_cast<unsigned char*>(malloc(size));
        unsigned int count = size;
        io->Seek(io->pUserContext, 0);
        io->SeekNRead(io->pUserContext, moov, &count, 0xFFFFFFFF);
        auto* tables = static_cast<unsigned char*>(malloc(size));
        qlip::load_be32_run(tables, moov, size / 4);
        benchmark::DoNotOptimize(tables);
        benchmark::ClobberMemory();
        free(tables);
        free(moov);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}
BENCHMARK(BM_floor)->Name("floor/open_1000000")->Unit(benchmark::kMillisecond);

void BM_library(benchmark::State& state) {
    BenchHost host(movie());
    for (auto _ : state) {
        mm_Interface* handle = nullptr;
        if (qlip_Open(&handle, host.record(), "ra") != QLIP_SUCCESS) state.SkipWithError("open failed");
        qlip_Close(&handle);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * moov_size());
}
BENCHMARK(BM_library)->Name("library/open_1000000")->Unit(benchmark::kMillisecond);

// Memory that earlier runs left to the allocator would hide what a session takes, so it goes back first.
double memory_of_session(const Bytes& bytes, const char* mode) {
    mallopt(M_MMAP_THRESHOLD, 64 * 1024);
    malloc_trim(0);
    BenchHost host(bytes);
    mm_Interface* handle = nullptr;
    const double before = touched_memory();
    qlip_Open(&handle, host.record(), mode);
    const double grown = touched_memory() - before;
    qlip_Close(&handle);
    return grown;
}

void BM_memory(benchmark::State& state) {
    const Bytes small = make_movie(Content::AmrOneFrame, 1000);
    for (auto _ : state)
        benchmark::DoNotOptimize(&state);
    state.counters["small_session_kb"] = memory_of_session(small, "ra") / 1024;
    state.counters["bytes_per_moov_byte"] = memory_of_session(movie(), "ra") / moov_size();
}
BENCHMARK(BM_memory)->Name("memory/open")->Iterations(1);

}  // namespace
}  // namespace qlip_bench
