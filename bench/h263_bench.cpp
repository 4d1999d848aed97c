// The H.263 walker and the packet forms of H.263, on the pictures of the samples. Each figure stands beside a
// copy of the same bytes that is made in turn with it: `times_a_copy`.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <string>

#include "bench/bench_host.h"
#include "h263/vlc_tables.h"
#include "qlip/h263_isoff.h"
#include "qlip/wld_native.h"
#include "tests/support/samples.h"

namespace qlip_bench {
namespace {

using Clock = std::chrono::steady_clock;

double seconds_between(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

std::vector<Bytes> pictures_of(const std::string& sample) {
    const Bytes movie = qlip_test::sample(sample);
    BenchHost host(movie);
    auto* io = host.record();
    char mode[] = "r", video[] = "vide";
    iso_file* file = isoFFopen(io, mode, nullptr);
    iso_track* track = isoFFselect(file, video, 1);
    std::vector<Bytes> pictures;
    Bytes picture(65536);
    double time, cto;
    for (int size; (size = isoFFread(track, picture.data(), 65536, &time, &cto)) > 0;) {
        pictures.emplace_back(picture.begin(), picture.begin() + size);
    }
    isoFFclose(file);
    return pictures;
}

// Runs `work` over each picture and a copy of the same pictures in turn. Returns what `work` counted.
template <typename Work>
void beside_a_copy(benchmark::State& state, const std::vector<Bytes>& pictures, const char* unit, Work work) {
    Bytes copy(65536);
    double working = 0, copying = 0;
    size_t counted = 0, bytes = 0;
    for (auto _ : state) {
        const auto begin = Clock::now();
        for (const Bytes& picture : pictures)
            counted += work(picture);
        const auto middle = Clock::now();
        for (const Bytes& picture : pictures) {
            std::memcpy(copy.data(), picture.data(), picture.size());
            benchmark::DoNotOptimize(copy.data());
            benchmark::ClobberMemory();
            bytes += picture.size();
        }
        copying += seconds_between(middle, Clock::now());
        working += seconds_between(begin, middle);
        state.SetIterationTime(seconds_between(begin, middle));
    }
    state.counters[unit] = static_cast<double>(counted) / working;
    state.counters["MB/s"] = static_cast<double>(bytes) / working / 1e6;
    state.counters["times_a_copy"] = working / copying;
}

size_t walk(const Bytes& picture) {
    tbq_state_t state{};
    tbq_pos_t pos{};
    size_t macroblocks = 0;
    auto* data = const_cast<unsigned char*>(picture.data());
    while (get_start_of_mb(&state, data, static_cast<int>(picture.size()), &pos, &pos) == 0)
        ++macroblocks;
    return macroblocks;
}

void walk_macroblocks(benchmark::State& state, const std::string& sample) {
    beside_a_copy(state, pictures_of(sample), "macroblocks/s", walk);
}

void cut_packets(benchmark::State& state, const std::string& sample, wld_rfc_mode mode) {
    iso_track track{};
    track.codec = ISO_CODEC_S263;
    wld_native native{};
    wld_native_init(&native, WLD_TYPE_H263, 1400, mode, &track, 0);
    Bytes out(1 << 18);
    beside_a_copy(state, pictures_of(sample), "packets/s", [&](const Bytes& picture) {
        native.packet_count = 0;
        wld_video_packet(out.data(), static_cast<int>(out.size()), const_cast<unsigned char*>(picture.data()),
                         static_cast<int>(picture.size()), 0.1, &native);
        return native.packet_count;
    });
}

// Code words of TCOEF without end.
Bytes coefficient_words() {
    Bytes bytes(1 << 14);
    unsigned random = 263;
    size_t bit = 0;
    while (bit + 32 < 8 * bytes.size()) {
        random = random * 1664525 + 1013904223;
        for (const char digit : qlip::vlc::kTcoef[(random >> 16) % 103].word) {
            if (digit == '1') bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] | 0x80U >> bit % 8);
            ++bit;
        }
    }
    bytes.resize(bit / 8);
    return bytes;
}

unsigned int look_up_bit_by_bit(tbq_state_t*, unsigned char* buf, unsigned long size, const tbq_pos_t* in,
                                tbq_pos_t* out, int* err) {
    size_t index = 0;
    tbq_pos_t pos = *in;
    for (unsigned i = 0; i < 13 && *err == 0; ++i) {
        index += tbq_bits_get(buf, size, &pos, &pos, 1, err) << (12 - i);
        if (tbq_xvlc_tcoef[index].length == i + 1) break;
    }
    *out = pos;
    return tbq_xvlc_tcoef[index].value;
}

void look_up_code_words(benchmark::State& state, decltype(&tbq_tcoef_parse) parse) {
    beside_a_copy(state, {coefficient_words()}, "words/s", [&](const Bytes& data) {
        tbq_state_t walker{};
        tbq_pos_t pos{};
        int err = 0;
        size_t words = 0;
        unsigned long sum = 0;
        for (; err == 0; ++words) {
            sum += parse(&walker, const_cast<unsigned char*>(data.data()), data.size(), &pos, &pos, &err);
        }
        benchmark::DoNotOptimize(sum);
        return words;
    });
}

const std::string kQcif = "h263.3gp";
const std::string kCif = "h263_cif_faststart.3gp";

BENCHMARK_CAPTURE(walk_macroblocks, qcif, kQcif)->UseManualTime();
BENCHMARK_CAPTURE(walk_macroblocks, cif, kCif)->UseManualTime();
BENCHMARK_CAPTURE(cut_packets, rfc2190, kCif, WLD_RFC_2190)->UseManualTime();
BENCHMARK_CAPTURE(cut_packets, rfc2190_at_macroblocks, kCif, WLD_RFC_2190_B)->UseManualTime();
BENCHMARK_CAPTURE(cut_packets, rfc2429, kCif, WLD_RFC_2429)->UseManualTime();
BENCHMARK_CAPTURE(look_up_code_words, at_once, tbq_tcoef_parse)->UseManualTime();
BENCHMARK_CAPTURE(look_up_code_words, bit_by_bit, look_up_bit_by_bit)->UseManualTime();

}  // namespace
}  // namespace qlip_bench
