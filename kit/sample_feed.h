// The samples of a media track, one after the other, and nothing that is no sample.
#pragma once

#include "kit/movie.h"
#include "kit/track_times.h"

namespace qlip::kit {

struct Sample {
    int number = 0;
    unsigned int size = 0;
    int64_t decode = 0, presentation = 0;  // in the track's ticks
    uint32_t duration = 0;
};

class SampleFeed {
  public:
    SampleFeed(iso_track* track, EngineIo& io, Source& source, Trouble& trouble)
        : track_(track), io_(io), source_(source), trouble_(trouble), times_(track) {}

    // Reads the next sample that is not empty. A status of qlip_stream_read: after 10 the feed stands behind
    // the sample, after any other but 0 in front of it.
    int next(unsigned char* to, unsigned int room, Sample& sample);

    int move_to(int sample);

    // For a sample that was read and cannot be sent: 4, and 10.
    int blame(const Sample& sample, const char* what);
    int too_many_packets(const Sample& sample);

    uint64_t floor() const { return track_->file_pos; }

  private:
    int check(const Sample& sample, unsigned int room);
    int check_claim(const Sample& sample);
    int pass_over(const Sample& sample);
    uint64_t end_of(const Sample& sample) const;

    iso_track* track_;
    EngineIo& io_;
    Source& source_;
    Trouble& trouble_;
    TimeCursor times_;
    uint64_t delivered_ = 0;  // bytes since the last move
    uint64_t known_size_ = 0;
};

inline constexpr unsigned int kLargestSample = 16 * 1024 * 1024;

// What the end of a track comes to: 1, or 4 when its tables speak of more samples than it has.
int end_of_track(const iso_track* track, Trouble& trouble);

// Words for the engine's -2, by what stood behind it.
int refusal_of(const EngineIo& io, const char* what, int number, Trouble& trouble);

}  // namespace qlip::kit
