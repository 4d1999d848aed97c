// Streaming and opening through C3gpInterface, each beside a floor.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/second_reading.h"
#include "common/byte_order.h"
#include "qlip/c3gpinterface.h"

namespace qlip_bench {
namespace {

constexpr size_t kMillion = 1000000;

void count_frames(benchmark::State& state, Taken taken) {
    if (taken.frames == 0) state.SkipWithError("nothing was read");
    state.SetItemsProcessed(taken.frames);
    state.SetBytesProcessed(taken.bytes);
}

void BM_floor(benchmark::State& state, Content content, bool indexed) {
    const Bytes& movie = hinted_movie(content, 1000);
    const HintedRecording recording(movie, content, indexed);
    BenchHost host(movie);
    Taken all;
    for (auto _ : state) {
        const Taken taken = read_floor(recording, host);
        all.frames += taken.frames;
        all.bytes += taken.bytes;
    }
    count_frames(state, all);
}

void BM_library(benchmark::State& state, Content content, bool indexed) {
    const Bytes& movie = hinted_movie(content, static_cast<size_t>(state.range(0)));
    Taken all;
    for (auto _ : state) {
        state.PauseTiming();
        {
            HintedSession session(movie, content, indexed);
            state.ResumeTiming();
            const Taken taken = read_library(session);
            state.PauseTiming();
            all.frames += taken.frames;
            all.bytes += taken.bytes;
        }
        state.ResumeTiming();
    }
    count_frames(state, all);
}

// moov stands behind ftyp.
unsigned int moov_size(const Bytes& file) {
    return qlip::load_be32(file.data() + qlip::load_be32(file.data()));
}

void BM_open_floor(benchmark::State& state) {
    const Bytes& file = hinted_movie(Content::AmrHinted, kMillion);
    const unsigned int size = moov_size(file);
    BenchHost host(file);
    for (auto _ : state) {
        std::vector<unsigned char> moov(size), tables(size);
        host.play({BenchHost::Kind::Seek, 0, 0}, nullptr);
        host.play({BenchHost::Kind::Read, 0, size}, moov.data());
        qlip::load_be32_run(tables.data(), moov.data(), size / 4);
        benchmark::DoNotOptimize(tables.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
}

void BM_open(benchmark::State& state) {
    const Bytes& file = hinted_movie(Content::AmrHinted, kMillion);
    BenchHost host(file);
    for (auto _ : state) {
        C3gpInterface reader(kFrameRoom);
        if (reader.Open(host.record(), "ra") != QLIP_SUCCESS) state.SkipWithError("open failed");
        reader.Close();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * moov_size(file));
}

void register_all() {
    for (const Content content : {Content::AmrHinted, Content::H263Hinted}) {
        const int64_t long_run = is_audio(content) ? kMillion : 200000;
        for (const bool indexed : {false, true}) {
            const std::string name = std::string("box_") + name_of(content) + (indexed ? "_indexed" : "");
            benchmark::RegisterBenchmark(("floor/" + name).c_str(), BM_floor, content, indexed);
            benchmark::RegisterBenchmark(("library/" + name).c_str(), BM_library, content, indexed)
                ->Arg(1000)
                ->Arg(long_run);
        }
    }
    benchmark::RegisterBenchmark("floor/box_open_1000000", BM_open_floor)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("library/box_open_1000000", BM_open)->Unit(benchmark::kMillisecond);
}

const bool kRegistered = (register_all(), true);

}  // namespace
}  // namespace qlip_bench
