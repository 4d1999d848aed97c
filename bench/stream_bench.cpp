// Streaming through the C interface beside its floor, in time. Both run in turn within one process.

#include <benchmark/benchmark.h>

#include <string>

#include "bench/streaming.h"

namespace qlip_bench {
namespace {

void BM_floor(benchmark::State& state, Film film) {
    const Recording recording(film);
    Session session(film);
    int64_t chunks = 0;
    for (auto _ : state)
        chunks += stream_floor(recording, session.host);
    state.SetItemsProcessed(chunks);
}

void BM_library(benchmark::State& state, Film film) {
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    int64_t chunks = 0;
    for (auto _ : state) {
        state.PauseTiming();
        {
            Session session(film);
            state.ResumeTiming();
            chunks += stream_library(session, chunk.data());
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(chunks);
}

void register_film(const char* suffix, const Film& film) {
    const std::string name = name_of(film.content) + std::string(suffix);
    benchmark::RegisterBenchmark(("floor/" + name).c_str(), BM_floor, film);
    benchmark::RegisterBenchmark(("library/" + name).c_str(), BM_library, film);
}

void register_all() {
    for (const Content content : kStreamed) {
        register_film("", {content, 1000, 1000});
        if (!is_audio(content)) register_film("_small", {content, 1000, 100});
        register_film(is_audio(content) ? "_1000000" : "_small_1000000", {content, 1000000, 100});
    }
}

const bool kRegistered = (register_all(), true);

}  // namespace
}  // namespace qlip_bench
