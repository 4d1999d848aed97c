// Any bytes as a file: opened by the engine, then read sample by sample and packet by packet in both modes.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/cost.h"
#include "fuzz/require.h"
#include "qlip/isoff.h"
#include "tests/support/memory_host.h"

namespace {

using qlip_fuzz::require;

constexpr int kBuffer = 64000;
constexpr unsigned char kGuard = 0x5A;
constexpr int kMostReads = 300;

struct GuardedBuffer {
    GuardedBuffer() : bytes(kBuffer + 16, kGuard) {}
    unsigned char* data() { return bytes.data(); }
    void check() const {
        for (size_t i = kBuffer; i < bytes.size(); ++i)
            require(bytes[i] == kGuard);
    }
    std::vector<unsigned char> bytes;
};

void read_samples(iso_track* track, GuardedBuffer& buffer) {
    double time = 0;
    double cto = 0;
    for (int i = 0; i < kMostReads; ++i) {
        const int before = track->sample;
        const int got = isoFFread(track, buffer.data(), kBuffer, &time, &cto);
        buffer.check();
        require(got >= 0 || got == ISOFF_END);
        require(track->sample == before + (got >= 0 ? 1 : 0));
        if (got < 0) break;
    }
    for (const int sample : {track->sample_count - 1, track->sample_count / 2, 0}) {
        const int got = isoFFreadAt(track, sample, 1, buffer.data(), 1000, &time, &cto);
        buffer.check();
        require(got >= ISOFF_END && got <= 1000);
        if (got > 0) require(track->sample == sample);
    }
}

void play_packets(iso_track* media, GuardedBuffer& buffer) {
    iso_track* hint = isoFFrtpHinter(media, 1400);
    for (int i = 0; hint && i < kMostReads; ++i) {
        const int length = isoFFrtpPacket(hint, buffer.data());
        buffer.check();
        require(length == 0 || length == ISOFF_END || (length >= 12 && length <= ISOFF_PACKET_CAPACITY));
        if (length <= 0) break;
        if (i % 7 == 3) require(isoFFfindHintTrack(media, 1400) == hint);
    }
}

void ask(iso_file* file) {
    int tracks = 0;
    int bytes = 0;
    double seconds = 0;
    require(isoFFfileInfo(file, &tracks, &seconds, &bytes) == 0);
    for (iso_track* track = file->tracks; track; track = track->next, --tracks) {
        require(track->sample == 0);
        unsigned char* sets = nullptr;
        const int length = isoFFGetDSIin3GPP(track, 1, &sets);
        require(length >= -1);
        if (length >= 0) std::free(sets);
        int size = 0;
        isoFFframeInfo(track, &seconds, &size);
    }
    require(tracks == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    static GuardedBuffer buffer;
    qlip_test::MemoryHost host(qlip_test::Bytes(data, data + size));
    host.keep_log = false;
    const qlip_fuzz::Cost cost(size, 4);
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    require(file != nullptr);
    require(host.calls <= qlip_fuzz::most_calls(size));
    ask(file);
    int left = 20;
    for (iso_track* track = file->tracks; track && left > 0; track = track->next, --left) {
        for (const unsigned char indexed : {0, 1}) {
            file->indexed_read = indexed;
            isoFFsetPosition(track, 0);
            read_samples(track, buffer);
            play_packets(track, buffer);
        }
    }
    unsigned char* out = nullptr;
    int length = 0;
    qlip_test::Bytes stream(data, data + size);
    if (convertDCI_3gpp_to_ISO(stream.data(), static_cast<unsigned int>(size), &out, &length) == 1) {
        require(length >= 7 && length <= 256);
        std::free(out);
    }
    isoFFclose(file);
    return 0;
}
