// A well-formed file around arbitrary hint samples and media: the input picks the codec, describes packets
// one by one, and may flip bytes of the finished hint samples.
#include <cstdint>

#include "fuzz/chunk_reader.h"
#include "tests/support/movie_builder.h"

using namespace qlip_test;

namespace {

class Input {
  public:
    Input(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}
    bool empty() const { return at_ == end_; }
    unsigned int byte() { return empty() ? 0 : *at_++; }
    unsigned int pair() {
        const unsigned int high = byte();
        return high << 8 | byte();
    }
    Bytes bytes(size_t wanted) {
        const size_t size = std::min<size_t>(wanted, static_cast<size_t>(end_ - at_));
        at_ += size;
        return Bytes(at_ - size, at_);
    }

  private:
    const uint8_t *at_, *end_;
};

Bytes constructor(Input& in) {
    const unsigned int kind = in.byte();
    if (kind < 0x60) return hint_immediate(in.bytes(kind % 15));
    if (kind < 0xF0) return hint_sample_data(in.pair(), kind % 5, in.byte(), kind >= 0xE0 ? 255 : 0);
    return hint_no_data();
}

HintPacket packet(Input& in) {
    const unsigned int shape = in.byte();
    HintPacket out{.sequence = in.byte(), .marker = (shape & 1) != 0, .payload_type = 96};
    for (unsigned int i = 0; i < (shape >> 1 & 3); ++i)
        out.constructors.push_back(constructor(in));
    if (shape & 0x80) out.extra = in.bytes(shape >> 4 & 7);
    return out;
}

Bytes hints(Input& in) {
    std::vector<HintPacket> packets;
    const unsigned int shape = in.byte();
    for (unsigned int i = 0; i < (shape & 3); ++i)
        packets.push_back(packet(in));
    Bytes out = hint_sample(packets);
    if (shape & 0x80) out[in.byte() % out.size()] ^= static_cast<unsigned char>(in.byte());
    return out;
}

TrackPlan media_track(Input& in) {
    const unsigned int kind = in.byte();
    const Bytes sps = {0x67, 1, 2, 3}, pps = {0x68, 4};
    const Bytes sequence = {0, 0, 1, 0xB0, 1, 2};
    Bytes entry = visual_entry("s263", 176, 144, d263());
    if (kind % 3 == 1) entry = visual_entry("mp4v", 176, 144, esds(sequence));
    if (kind % 3 == 2) entry = visual_entry("avc1", 176, 144, avcC((kind >> 4 & 3) + 1, {sps}, {pps}));
    TrackPlan track{.handler = "vide", .id = 1, .timescale = 90000, .delta = 3000, .sample_entry = entry};
    for (int i = 0; i < 4; ++i) {
        Bytes content = in.bytes(in.byte());
        while (kind & 8 && !content.empty() && content.size() < 40000)
            content.insert(content.end(), content.begin(), content.end());
        track.samples.push_back(content);
    }
    return track;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    const TrackPlan media = media_track(in);
    TrackPlan hint{.handler = "hint",
                   .id = 2,
                   .timescale = 90000,
                   .delta = 3000,
                   .sample_entry = rtp_entry(in.byte() % 2 == 0 ? 1400 : 0, 90000),
                   .hint_reference = 1};
    while (!in.empty() && hint.samples.size() < 32)
        hint.samples.push_back(hints(in));
    MemoryHost host(build_movie({.tracks = {media, hint}}));
    host.keep_log = false;
    for (const bool indexed : {false, true}) {
        host.fault.reset();
        host.clear_log();
        constexpr int kChunks = 200;
        qlip_fuzz::ChunkReader::stream(host, "rv", indexed, kChunks);
        host.fault = MemoryHost::Fault{.slot = {}, .call = host.calls / 2};
        host.clear_log();
        qlip_fuzz::ChunkReader::stream(host, "rv", indexed, kChunks);
    }
    return 0;
}
