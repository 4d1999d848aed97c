// Places of a track's read cursor, a bounded number of strides apart, so that a jump to any sample costs no
// more than that many strides. The cursor that it reaches is the one of a plain walk.
//
// Places are learned as far as jumps go: a track that is read in order never pays for them.
#pragma once

#include <climits>
#include <cstdint>

#include "qlip/isoff.h"

namespace qlip {

// Where a track's cursor stands.
struct Cursor {
    int sample = 0;
    unsigned int file_pos = 0;
    int chunk = 0;
    int stts_index = 0, stts_run = 0;
    int ctts_index = 0, ctts_run = 0;

    static Cursor of(const iso_track* track);
    void put_into(iso_track* track) const;
    bool operator==(const Cursor&) const = default;
};

class SamplePlaces {
  public:
    static constexpr int kStrides = 64;  // from one place to the next

    // Room for all places that the tables of a track can ask for: less than an eighth of those, and one
    // place.
    static int64_t room_for(const iso_track* track);

    SamplePlaces() = default;
    SamplePlaces(Cursor* room, int64_t capacity) : places_(room), capacity_(capacity) {}

    // Before the cursor is set to `sample`, which exists: puts it to a place from which few strides lead
    // there.
    void prepare(iso_track* track, int sample) {
        const bool near = sample == track->sample || sample == track->sample + 1;
        if (!near || !is_undisturbed(track)) prepare_move(track, sample, near);
    }

    // The room serves another track from now on.
    void start_over() { *this = SamplePlaces(places_, capacity_); }

    // After the cursor was set, to spare the next jump a look at where it is.
    void remember(const iso_track* track) {
        left_at_.sample = track->sample;
        left_at_.file_pos = track->file_pos;
        left_at_.chunk = track->chunk;
    }

  private:
    // Nobody else has moved the cursor since. The runs of the time tables go by the sample alone.
    bool is_undisturbed(const iso_track* track) const {
        return track->sample == left_at_.sample && track->file_pos == left_at_.file_pos &&
               track->chunk == left_at_.chunk;
    }

    void prepare_move(iso_track* track, int sample, bool near);
    void prepare_jump(iso_track* track, int sample);
    bool is_on_path(iso_track* track);
    const Cursor& place_below(iso_track* track, int sample);
    void learn(iso_track* track, int sample);

    Cursor* places_ = nullptr;
    int64_t capacity_ = 0;
    int64_t known_ = 0;      // by sample, upwards
    bool complete_ = false;  // the last of them is near the end of the track

    // Where the cursor was left last, and whether that is known to be on the path of a walk from the first
    // sample: short reads of others can put it elsewhere.
    Cursor left_at_{.sample = -1};
    bool on_path_ = false;
    Cursor departure_{.sample = INT_MAX};  // the last place that a jump left
};

}  // namespace qlip
