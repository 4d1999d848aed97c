// Many sessions alive at once, as on a server: what a frame costs when they are read in turn and at random,
// what an open costs beside the others, and what a session takes.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <numeric>
#include <random>
#include <string>

#include "bench/streaming.h"

namespace qlip_bench {
namespace {

constexpr size_t kFrames = 400000;  // of one run, over all sessions
constexpr double kGibibyte = 1024.0 * 1024 * 1024;

enum class Order { InTurn, AtRandom };

class Crowd {
  public:
    Crowd(const Film& film, size_t count) {
        Session first(film);  // makes the film
        malloc_trim(0);
        sessions_.reserve(count);
        const double before = touched_memory();
        const auto start = std::chrono::steady_clock::now();
        for (size_t i = 0; i < count; ++i)
            sessions_.push_back(std::make_unique<Session>(film));
        const std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - start;
        microseconds_per_open = took.count() / static_cast<double>(count);
        pass_headers(is_audio(film.content) ? 4 : 2);
        bytes_per_session = (touched_memory() - before) / static_cast<double>(count);
    }

    // A frame is two chunks.
    void read_frame(size_t session) {
        sessions_[session]->read(chunk_.data());
        sessions_[session]->read(chunk_.data());
    }

    double microseconds_per_open = 0;
    double bytes_per_session = 0;

  private:
    // And the first frame.
    void pass_headers(int chunks) {
        for (const auto& session : sessions_) {
            for (int i = 0; i < chunks + 2; ++i)
                session->read(chunk_.data());
        }
    }

    std::vector<std::unique_ptr<Session>> sessions_;
    std::vector<unsigned char> chunk_ = std::vector<unsigned char>(QLIP_LARGEST_CHUNK);
};

std::vector<size_t> reading_order(size_t sessions, Order order) {
    std::vector<size_t> turns(sessions);
    std::iota(turns.begin(), turns.end(), size_t{0});
    std::mt19937 random(1);
    if (order == Order::AtRandom) std::shuffle(turns.begin(), turns.end(), random);
    return turns;
}

// Every session has frames for all its turns.
void BM_sessions(benchmark::State& state, Content content, size_t sessions, Order order) {
    const size_t rounds = std::min<size_t>(kFrames / sessions, 900);
    Crowd crowd({content, 1000, 1000}, sessions);
    const std::vector<size_t> turns = reading_order(sessions, order);
    int64_t frames = 0;
    for (auto _ : state) {
        for (size_t round = 0; round < rounds; ++round) {
            for (const size_t session : turns)
                crowd.read_frame(session);
        }
        frames += static_cast<int64_t>(rounds * sessions);
    }
    state.SetItemsProcessed(frames);
    state.counters["us_per_open"] = crowd.microseconds_per_open;
    state.counters["kb_per_session"] = crowd.bytes_per_session / 1024;
    state.counters["sessions_per_gib"] = kGibibyte / std::max(crowd.bytes_per_session, 1.0);
}

void register_all() {
    for (const Content content : {Content::AmrOneFrame, Content::H263, Content::H264, Content::H264Hinted}) {
        for (const size_t sessions : {size_t{1}, size_t{1000}, size_t{10000}}) {
            for (const Order order : {Order::InTurn, Order::AtRandom}) {
                const std::string name = "sessions/" + std::string(name_of(content)) + "_" +
                                         std::to_string(sessions) +
                                         (order == Order::InTurn ? "_in_turn" : "_at_random");
                benchmark::RegisterBenchmark(name.c_str(), BM_sessions, content, sessions, order)
                    ->Iterations(1);
            }
        }
    }
}

const bool kRegistered = (register_all(), true);

}  // namespace
}  // namespace qlip_bench
