// Writing a million frames beside fwrite of the same bytes, and what a frame costs in memory and in the
// header.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "qlip/isoff.h"

namespace {

constexpr int kFrames = 1000000;
constexpr int kFrameSize = 32;

enum class Mode { Normal, Spill, Direct };

std::array<unsigned char, kFrameSize> frame_bytes() {
    std::array<unsigned char, kFrameSize> frame;
    frame.fill(0x3C);
    return frame;
}

iso_file* open_for_writing(FILE* out, Mode mode) {
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char direction[] = "w";
    iso_file* file = isoFFopen(no_input, direction, nullptr);
    file->stream = out;
    if (mode == Mode::Direct) {
        file->status_flags |= ISO_STATUS_DIRECT;
        file->direct_tracks = 1;
    }
    return file;
}

iso_track* add_speech(iso_file* file, Mode mode) {
    iso_track* track = isoFFtrack(file);
    std::strcpy(track->handler, "soun");
    track->codec = ISO_CODEC_SAMR;
    track->timescale = 8000;
    track->default_delta = 160;
    if (mode == Mode::Spill) track->spill_file = tmpfile();
    return track;
}

// Frames of two sizes, so that every frame takes a row of the size table.
int size_of(int frame) {
    return kFrameSize - frame % 2;
}

void BM_floor(benchmark::State& state) {
    auto frame = frame_bytes();
    for (auto _ : state) {
        FILE* out = tmpfile();
        for (int i = 0; i < kFrames; ++i)
            fwrite(frame.data(), 1, static_cast<size_t>(size_of(i)), out);
        fclose(out);
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
}

void BM_library(benchmark::State& state, Mode mode) {
    auto frame = frame_bytes();
    double arena = 0;
    double header = 0;
    for (auto _ : state) {
        FILE* out = tmpfile();
        iso_file* file = open_for_writing(out, mode);
        iso_track* track = add_speech(file, mode);
        for (int i = 0; i < kFrames; ++i)
            isoFFwrite(track, frame.data(), size_of(i), 0, 0);
        arena = file->arena_chunks * 2048000.0 - file->arena_left;
        isoFFclose(file);
        fseek(out, 0, SEEK_END);
        header = static_cast<double>(ftell(out)) - kFrames * (kFrameSize - 0.5);
        fclose(out);
    }
    state.SetItemsProcessed(state.iterations() * kFrames);
    state.counters["memory_per_frame"] = arena / kFrames;
    state.counters["header_per_frame"] = header / kFrames;
}

BENCHMARK(BM_floor)->Name("floor/write_frame")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_library, normal, Mode::Normal)
    ->Name("library/write_frame/normal")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_library, spill, Mode::Spill)
    ->Name("library/write_frame/spill")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_library, direct, Mode::Direct)
    ->Name("library/write_frame/direct")
    ->Unit(benchmark::kMillisecond);

}  // namespace
