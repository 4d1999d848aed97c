// A well-formed file around arbitrary hint samples and media: the input picks the codec, describes packets
// one by one, and may flip bytes of the finished hint samples. Read whole in one of the read modes, then with
// a callback that fails half way.
#include <cstdint>

#include "fuzz/chunk_reader.h"
#include "fuzz/cost.h"
#include "fuzz/drawn_film.h"

using namespace qlip_test;
using qlip_fuzz::Draws;

namespace {

TrackPlan media_track(Draws& draws) {
    TrackPlan track{.handler = "vide",
                    .id = 1,
                    .timescale = 90000,
                    .delta = 3000,
                    .sample_entry = qlip_fuzz::draw_visual_entry(draws)};
    const bool large = draws.one_in(8);
    for (int i = 0; i < 4; ++i) {
        Bytes content = draws.bytes(draws.byte());
        while (large && i == 0 && !content.empty() && content.size() < 40000)
            content.insert(content.end(), content.begin(), content.end());
        track.samples.push_back(content);
    }
    return track;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Draws draws(data, size);
    const bool indexed = draws.one_in(2);
    const TrackPlan media = media_track(draws);
    TrackPlan hint{.handler = "hint",
                   .id = 2,
                   .timescale = 90000,
                   .delta = 3000,
                   .sample_entry = rtp_entry(draws.one_in(2) ? 0 : 1400, 90000),
                   .hint_reference = 1};
    while (draws.any() && hint.samples.size() < 32)
        hint.samples.push_back(qlip_fuzz::draw_hint_sample(draws));
    MemoryHost host(build_movie({.tracks = {media, hint}}));
    host.keep_log = false;
    const qlip_fuzz::Cost cost(host.bytes.size(), 4);
    constexpr int kChunks = 200;
    qlip_fuzz::ChunkReader::stream(host, "rv", indexed, kChunks);
    host.fault = MemoryHost::Fault{.slot = {}, .call = host.calls / 2};
    host.clear_log();
    qlip_fuzz::ChunkReader::stream(host, "rv", indexed, kChunks);
    return 0;
}
