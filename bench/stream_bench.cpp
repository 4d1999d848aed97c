// Streaming through the C interface beside a floor: a program that makes the same callbacks and the same
// number of calls, and copies each chunk's bytes twice, with no logic in between. Both run in turn within one
// process.

#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "qlip/qlip.h"
#include "stream/zero_pair.h"

namespace qlip_bench {
namespace {

const Bytes& movie(Content content, size_t samples) {
    static std::map<std::pair<Content, size_t>, Bytes> movies;
    auto& bytes = movies[{content, samples}];
    if (bytes.empty()) bytes = make_movie(content, samples);
    return bytes;
}

class Session {
  public:
    explicit Session(const Bytes& bytes, Content content) : host(bytes) {
        qlip_Open(&handle_, host.record(), is_audio(content) ? "ra" : "rv");
    }
    ~Session() { qlip_Close(&handle_); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    bool read(unsigned char* chunk) {
        unsigned int size = 0;
        return qlip_ReadChunk(handle_, chunk, &size, false) == QLIP_SUCCESS;
    }

    BenchHost host;

  private:
    mm_Interface* handle_ = nullptr;
};

// The callbacks of one chunk, and how many bytes it delivers.
struct Step {
    std::vector<BenchHost::Call> calls;
    unsigned int length;
};

// What the chunks of a steady stream look like: recorded from the library behind its header, one period long.
std::vector<Step> record_steps(Content content, size_t period) {
    Session session(movie(content, 1000), content);
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK, 0xEE);
    for (int i = 0; i < 4; ++i)
        session.read(chunk.data());
    if (!is_audio(content)) session.read(chunk.data());
    std::vector<Step> steps;
    for (size_t i = 0; i < period; ++i) {
        std::vector<BenchHost::Call> calls;
        session.host.calls = &calls;
        std::fill(chunk.begin(), chunk.end(), static_cast<unsigned char>(0xEE));
        session.read(chunk.data());
        size_t length = chunk.size();
        while (length > 0 && chunk[length - 1] == 0xEE)
            --length;
        steps.push_back({std::move(calls), static_cast<unsigned int>(length)});
    }
    return steps;
}

bool searches(Content content) {
    return content == Content::H263 || content == Content::Mpeg4 || content == Content::H263Hinted;
}

void BM_floor(benchmark::State& state, Content content) {
    const std::vector<Step> steps = record_steps(content, 20);
    BenchHost host(movie(content, 1000));
    std::vector<unsigned char> first(QLIP_LARGEST_CHUNK);
    std::vector<unsigned char> second(QLIP_LARGEST_CHUNK);
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    int64_t chunks = 0;
    for (auto _ : state) {
        for (const Step& step : steps) {
            for (const BenchHost::Call& call : step.calls)
                host.play(call, first.data());
            if (searches(content) && !step.calls.empty()) {
                benchmark::DoNotOptimize(memchr(first.data(), 0xEF, 1000));
            }
            std::memcpy(second.data(), first.data(), step.length);
            benchmark::ClobberMemory();
            std::memcpy(chunk.data(), second.data(), step.length);
            benchmark::ClobberMemory();
        }
        chunks += static_cast<int64_t>(steps.size());
    }
    state.SetItemsProcessed(chunks);
}

void BM_library(benchmark::State& state, Content content) {
    const Bytes& bytes = movie(content, static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> chunk(QLIP_LARGEST_CHUNK);
    int64_t chunks = 0;
    for (auto _ : state) {
        state.PauseTiming();
        {
            Session session(bytes, content);
            state.ResumeTiming();
            while (session.read(chunk.data()))
                ++chunks;
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    state.SetItemsProcessed(chunks);
}

void register_all() {
    for (const Content content : {Content::AmrOneFrame, Content::AmrTenFrames, Content::H263, Content::Mpeg4,
                                  Content::H264, Content::H263Hinted, Content::H264Hinted}) {
        const std::string name = name_of(content);
        benchmark::RegisterBenchmark(("floor/" + name).c_str(), BM_floor, content);
        const int64_t long_run = is_audio(content) ? 1000000 : 200000;
        benchmark::RegisterBenchmark(("library/" + name).c_str(), BM_library, content)
            ->Arg(1000)
            ->Arg(long_run);
    }
}

const bool kRegistered = (register_all(), true);

}  // namespace
}  // namespace qlip_bench
