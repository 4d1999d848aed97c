// Reading a file of a million samples as a tree of boxes, beside a floor that reads the same moov with one
// callback and swaps the bytes of its tables once into fresh memory.

#include <benchmark/benchmark.h>

#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "common/byte_order.h"
#include "qlip/vorn3gp.h"

namespace qlip_bench {
namespace {

const Bytes& movie() {
    static const Bytes bytes = make_movie(Content::AmrOneFrame, 1000000);
    return bytes;
}

// moov stands behind ftyp.
unsigned int moov_size() {
    return qlip::load_be32(movie().data() + qlip::load_be32(movie().data()));
}

void BM_floor(benchmark::State& state) {
    const unsigned int size = moov_size();
    BenchHost host(movie());
    for (auto _ : state) {
        auto* io = host.record();
        std::vector<unsigned char> moov(size);
        unsigned int count = size;
        io->Seek(io->pUserContext, 0);
        io->SeekNRead(io->pUserContext, moov.data(), &count, 0xFFFFFFFF);
        std::vector<unsigned char> tables(size);
        qlip::load_be32_run(tables.data(), moov.data(), size / 4);
        benchmark::DoNotOptimize(tables.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}
BENCHMARK(BM_floor)->Name("floor/boxes_1000000")->Unit(benchmark::kMillisecond);

void BM_library(benchmark::State& state) {
    BenchHost host(movie());
    for (auto _ : state) {
        Vorn3gp::Stream stream = host.record();
        host.position = 0;
        Vorn3gp::Simple3gp file;
        file.Read(stream, 0);
        benchmark::DoNotOptimize(file.GetMoov());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * moov_size());
}
BENCHMARK(BM_library)->Name("library/boxes_1000000")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qlip_bench
