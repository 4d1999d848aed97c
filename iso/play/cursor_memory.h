// Remembered read cursors of one track. Going back would cost a walk from the first sample; from the nearest
// remembered cursor it costs no more than about the distance, and returning to a place just left costs
// nothing. The cursor that a walk reaches is the same as without this.
#pragma once

#include <array>

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

class CursorMemory {
  public:
    // Before the cursor is set to `sample`: puts it to the nearest remembered place on the way.
    void prepare(iso_track* track, int sample) {
        const bool near = sample == track->sample || sample == track->sample + 1;
        if (!near || !is_undisturbed(track)) prepare_jump(track, sample);
    }

    // After the cursor was set.
    void remember(const iso_track* track) {
        sample_ = track->sample;
        file_pos_ = track->file_pos;
        chunk_ = track->chunk;
        if (on_path_ && track->sample >> kFirstLevel != newest_stretch_) add_to_ladder(track);
    }

  private:
    // Shorter stretches are walked as quickly as they would be remembered.
    static constexpr int kFirstLevel = 3;
    static constexpr size_t kLevels = 19;
    static constexpr size_t kDepartures = 8;

    struct Place {
        bool known = false;
        Cursor cursor;
    };

    // Nobody else has moved the cursor since. The runs of the time tables go by the sample alone.
    bool is_undisturbed(const iso_track* track) const {
        return track->sample == sample_ && track->file_pos == file_pos_ && track->chunk == chunk_;
    }

    void prepare_jump(iso_track* track, int sample);
    void add_to_ladder(const iso_track* track);
    void add_departure(const Cursor& cursor);
    const Cursor* best_below(int sample) const;

    // Level k keeps the first cursor of the two last visited stretches of 2^(kFirstLevel + k) samples: some
    // cursor lies about as far back as any sample does.
    std::array<std::array<Place, 2>, kLevels> ladder_;
    std::array<Place, kDepartures> departures_;  // places that a jump left
    size_t next_departure_ = 0;
    // The cursor as it was left last, and whether it is the one that a walk from the first sample gives:
    // short reads of others can put it elsewhere.
    int sample_ = -1;
    unsigned int file_pos_ = 0;
    int chunk_ = 0;
    bool on_path_ = false;
    int newest_stretch_ = -1;
};

}  // namespace qlip
