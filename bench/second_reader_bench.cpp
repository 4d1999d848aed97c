// Streaming and opening through C3gpInterface, each beside a floor: the same callbacks, and the bytes of each
// frame copied twice (into the frame buffer, and to the caller), with no logic in between.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_host.h"
#include "bench/bench_movies.h"
#include "common/byte_order.h"
#include "qlip/c3gpinterface.h"

namespace qlip_bench {
namespace {

constexpr unsigned int kFrameRoom = 4096;
constexpr size_t kMillion = 1000000;

const Bytes& movie(Content content, size_t samples) {
    static std::map<std::pair<Content, size_t>, Bytes> movies;
    auto& bytes = movies[{content, samples}];
    if (bytes.empty()) bytes = make_movie(content, samples);
    return bytes;
}

const char* mode_of(Content content) {
    return is_audio(content) ? "ra" : "rv";
}

// An open reader whose stream stands behind the header.
class Session {
  public:
    Session(const Bytes& bytes, Content content, bool indexed) : host(bytes), indexed_(indexed) {
        reader_.Open(host.record(), mode_of(content));
        unsigned char header[24];
        read(header, sizeof header);
        std::vector<unsigned char> rest(qlip::load_le32(header + 8) - sizeof header);
        read(rest.data(), static_cast<unsigned int>(rest.size()));
    }

    bool read(unsigned char* to, unsigned int size) {
        return reader_.ReadChunk(to, &size, indexed_) == QLIP_SUCCESS;
    }

    // One frame, by the size in its first word. Result: that size, 0 at the end.
    unsigned int read_frame(unsigned char* to) {
        if (!read(to, 4)) return 0;
        const unsigned int size = qlip::load_le32(to);
        return read(to + 4, size - 4) ? size : 0;
    }

    BenchHost host;

  private:
    C3gpInterface reader_{kFrameRoom};
    bool indexed_;
};

struct Step {
    std::vector<BenchHost::Call> calls;
    unsigned int length;
};

std::vector<Step> record_steps(Content content, bool indexed) {
    Session session(movie(content, 1000), content, indexed);
    std::vector<unsigned char> frame(kFrameRoom);
    std::vector<Step> steps(20);
    for (Step& step : steps) {
        session.host.calls = &step.calls;
        step.length = session.read_frame(frame.data());
    }
    return steps;
}

void count_frames(benchmark::State& state, int64_t frames, int64_t bytes) {
    state.SetItemsProcessed(frames);
    state.SetBytesProcessed(bytes);
}

void BM_floor(benchmark::State& state, Content content, bool indexed) {
    const std::vector<Step> steps = record_steps(content, indexed);
    BenchHost host(movie(content, 1000));
    std::vector<unsigned char> sample(kFrameRoom), frame(kFrameRoom), caller(kFrameRoom);
    int64_t frames = 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        for (const Step& step : steps) {
            for (const BenchHost::Call& call : step.calls)
                host.play(call, sample.data());
            std::memcpy(frame.data(), sample.data(), step.length);
            benchmark::ClobberMemory();
            std::memcpy(caller.data(), frame.data(), step.length);
            benchmark::ClobberMemory();
            bytes += step.length;
        }
        frames += static_cast<int64_t>(steps.size());
    }
    count_frames(state, frames, bytes);
}

void BM_library(benchmark::State& state, Content content, bool indexed) {
    const Bytes& file = movie(content, static_cast<size_t>(state.range(0)));
    std::vector<unsigned char> frame(kFrameRoom);
    int64_t frames = 0;
    int64_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        {
            Session session(file, content, indexed);
            state.ResumeTiming();
            while (const unsigned int size = session.read_frame(frame.data())) {
                ++frames;
                bytes += size;
            }
            state.PauseTiming();
        }
        state.ResumeTiming();
    }
    if (frames == 0) state.SkipWithError("nothing was read");
    count_frames(state, frames, bytes);
}

// moov stands behind ftyp.
unsigned int moov_size(const Bytes& file) {
    return qlip::load_be32(file.data() + qlip::load_be32(file.data()));
}

void BM_open_floor(benchmark::State& state) {
    const Bytes& file = movie(Content::AmrHinted, kMillion);
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
    const Bytes& file = movie(Content::AmrHinted, kMillion);
    BenchHost host(file);
    for (auto _ : state) {
        C3gpInterface reader(kFrameRoom);
        if (reader.Open(host.record(), "ra") != QLIP_SUCCESS) state.SkipWithError("open failed");
        reader.Close();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * moov_size(file));
}

// A field of /proc/self/status in bytes.
double status_field(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != name) {
    }
    double kilobytes = 0;
    status >> kilobytes;
    return kilobytes * 1024;
}

double in_use() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks) + static_cast<double>(info.hblkhd);
}

// Memory by bytes of moov: the most while the tree of boxes stands, and what stays for streaming.
void BM_memory(benchmark::State& state) {
    const Bytes& file = movie(Content::AmrHinted, kMillion);
    for (auto _ : state) {
        BenchHost host(file);
        C3gpInterface reader(kFrameRoom);
        malloc_trim(0);
        std::ofstream("/proc/self/clear_refs") << "5";  // the peak counts from here
        const double resident = status_field("VmRSS:");
        const double used = in_use();
        reader.Open(host.record(), "ra");
        state.counters["peak_per_moov_byte"] = (status_field("VmHWM:") - resident) / moov_size(file);
        state.counters["kept_per_moov_byte"] = (in_use() - used) / moov_size(file);
    }
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
    benchmark::RegisterBenchmark("memory/box_open", BM_memory)->Iterations(1);
}

const bool kRegistered = (register_all(), true);

}  // namespace
}  // namespace qlip_bench
