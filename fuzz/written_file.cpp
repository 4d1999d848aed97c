// Random frames on random tracks, written in either mode to an output of random capacity, and read back:
// whatever was written, every sample that the file claims lies inside it and holds the bytes of the frame
// that was given.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "qlip/isoff.h"
#include "qlip/vorn3gp.h"
#include "tests/support/memory_file.h"

namespace {

using qlip_test::Bytes;

void require(bool held) {
    if (!held) std::abort();
}

// The fuzzer's bytes as a source of small decisions; zero behind their end.
class Decisions {
  public:
    Decisions(const unsigned char* data, size_t size) : next_(data), left_(size) {}
    bool any() const { return left_ > 0; }
    unsigned int byte() {
        if (left_ == 0) return 0;
        --left_;
        return *next_++;
    }

  private:
    const unsigned char* next_;
    size_t left_;
};

constexpr int kCodecs[] = {ISO_CODEC_SAMR, ISO_CODEC_SAWB, ISO_CODEC_S263, ISO_CODEC_RTP, ISO_CODEC_SAWP};
constexpr unsigned int kTimescales[] = {8000, 16000, 30, 0};

std::vector<iso_track*> add_tracks(iso_file* file, Decisions& decisions) {
    std::vector<iso_track*> tracks(1 + decisions.byte() % 3);
    for (iso_track*& track : tracks) {
        track = isoFFtrack(file);
        std::strcpy(track->handler, decisions.byte() % 2 ? "soun" : "vide");
        track->codec = kCodecs[decisions.byte() % std::size(kCodecs)];
        track->timescale = kTimescales[decisions.byte() % std::size(kTimescales)];
        track->default_delta = 1;
    }
    return tracks;
}

// Frame k of a track is k bytes' worth of its number, so that a sample tells which frame it was.
Bytes frame_of(unsigned int size, size_t track, size_t number) {
    return Bytes(size, static_cast<unsigned char>(31 * track + number));
}

std::vector<std::vector<Bytes>> write(const std::vector<iso_track*>& tracks, Decisions& decisions) {
    std::vector<std::vector<Bytes>> frames(tracks.size());
    while (decisions.any()) {
        const size_t t = decisions.byte() % tracks.size();
        Bytes frame = frame_of(1 + decisions.byte(), t, frames[t].size());
        const int size = static_cast<int>(frame.size());
        const int result =
            isoFFwrite(tracks[t], frame.data(), size, static_cast<int>(decisions.byte()) - 1, 0);
        require(result == size || (result >= ISO_WRITE_NO_DIRECT_TRACK && result < 0));
        // A failed write may have come behind this frame, so it may be in the file all the same.
        if (result == size || result == ISO_WRITE_FAILED) frames[t].push_back(frame);
    }
    return frames;
}

void check_samples(iso_track* track, const std::vector<Bytes>& frames) {
    Bytes buffer(64000);
    for (size_t i = 0; track->sample < track->sample_count; ++i) {
        const int got = isoFFread(track, buffer.data(), static_cast<int>(buffer.size()), nullptr, nullptr);
        require(got > 0 && i < frames.size() && static_cast<size_t>(got) == frames[i].size());
        require(std::memcmp(buffer.data(), frames[i].data(), static_cast<size_t>(got)) == 0);
    }
}

// An empty track's row of zeros is no sample, and ends what the engine reads: only tracks in front of it are
// there.
bool is_empty(const iso_track* track) {
    return track->stts_count == 1 && track->stts[0][0] == 0;
}

void check_with_engine(qlip_test::MemoryHost& host, const std::vector<std::vector<Bytes>>& frames) {
    auto* io = host.record();
    char mode[] = "r";
    iso_file* file = isoFFopen(io, mode, nullptr);
    for (iso_track* track = file->tracks; track; track = track->next) {
        require(track->track_id <= frames.size());
        if (track->track_id > 0 && !is_empty(track)) check_samples(track, frames[track->track_id - 1]);
    }
    isoFFclose(file);
}

void check_with_box_model(qlip_test::MemoryHost& host) {
    host.position = 0;
    auto* io = host.record();
    try {
        Vorn3gp::Simple3gp tree;
        tree.Read(io, 0);
    } catch (const SimpleException&) {
        // An output that was full may end inside a box,
    } catch (const std::bad_alloc&) {
        // or with a size of 0 that was to be filled in.
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    Decisions decisions(data, size);
    qlip_test::MemoryFile out;
    if (decisions.byte() % 4 == 0) out.capacity = 16 * decisions.byte();
    if (decisions.byte() % 2) setvbuf(out.stream(), nullptr, _IONBF, 0);
    _TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE* no_input = nullptr;
    char mode[] = "w";
    iso_file* file = isoFFopen(no_input, mode, nullptr);
    file->stream = out.stream();
    file->interleave_period = decisions.byte() / 64.0;
    if (decisions.byte() % 3 == 0) file->max_file_size = 64 * decisions.byte();
    const std::vector<iso_track*> tracks = add_tracks(file, decisions);
    if (decisions.byte() % 2) {
        file->status_flags |= ISO_STATUS_DIRECT;
        file->direct_tracks = static_cast<int>(tracks.size());
    }
    const auto frames = write(tracks, decisions);
    isoFFclose(file);
    fflush(out.stream());
    qlip_test::MemoryHost host(out.bytes);
    host.keep_log = false;
    check_with_engine(host, frames);
    check_with_box_model(host);
    return 0;
}
