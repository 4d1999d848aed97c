// An open file, and what its tracks are.
#pragma once

#include <memory>

#include "kit/engine_io.h"
#include "kit/structure.h"
#include "kit/trouble.h"
#include "qlip/isoff.h"

namespace qlip::kit {

class Movie {
  public:
    explicit Movie(Source& source) : source_(source), io_(source) {}
    ~Movie() { isoFFclose(file_); }
    Movie(const Movie&) = delete;
    Movie& operator=(const Movie&) = delete;

    // Reads the structure: 0, 17, 4, 10, 16 or 6. The parse begins at moov, so that media data in front of it
    // is not taken into memory.
    int open(Trouble& trouble);
    int open(const Structure& structure, Trouble& trouble);

    iso_file* file() const { return file_; }
    EngineIo& io() { return io_; }

    // The media track number `index`, or null.
    iso_track* media_track(unsigned int index) const;

    // The track that a session would take: the last one that can be delivered. Null without one.
    iso_track* last_track(qlip_medium medium) const;

    // One behind the last byte of media data that any track points to.
    uint64_t media_end() const;

  private:
    Source& source_;
    EngineIo io_;
    iso_file* file_ = nullptr;
};

bool is_hint_track(const iso_track* track);
qlip_codec codec_of(const iso_track* track);
qlip_medium medium_of(const iso_track* track);
bool is_deliverable(const iso_track* track, qlip_medium medium);

// The hint track that video is sent from; null without one.
iso_track* arm_hint_track(iso_track* media);

// What keeps the samples of a track from being found or timed, in words; null when they can be trusted: each
// lies inside a chunk, and each has a time.
const char* fault_of_tables(const iso_track* track);

// Whether the tables speak of no more samples than the track has left.
bool all_samples_kept(const iso_track* track);

uint64_t bytes_of(const iso_track* track);
inline unsigned int size_of_sample(const iso_track* track, int sample) {
    if (track->sample_size != 0 || !track->sample_sizes) return track->sample_size;
    return track->sample_sizes[sample];
}

unsigned int largest_sample(const iso_track* track);

qlip_track_info describe(iso_track* track);

}  // namespace qlip::kit
