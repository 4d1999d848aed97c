#include "iso/play/sample_places.h"

#include <algorithm>

#include "iso/play/sample_cursor.h"

namespace qlip {

namespace {

// How many strides lead to the end of a track, at most. Of samples of one size, a stride ends at the end of a
// chunk or of a row, or where positions wrap around.
int64_t strides_of(const iso_track* track) {
    if (track->sample_size == 0) return track->sample_count;
    return 2 * (int64_t{track->chunk_count} + track->stts_count + track->ctts_count) + 1;
}

}  // namespace

Cursor Cursor::of(const iso_track* track) {
    return {track->sample,   track->file_pos,   track->chunk,   track->stts_index,
            track->stts_run, track->ctts_index, track->ctts_run};
}

void Cursor::put_into(iso_track* track) const {
    track->sample = sample;
    track->file_pos = file_pos;
    track->chunk = chunk;
    track->stts_index = stts_index;
    track->stts_run = stts_run;
    track->ctts_index = ctts_index;
    track->ctts_run = ctts_run;
}

int64_t SamplePlaces::room_for(const iso_track* track) {
    return std::max<int64_t>(strides_of(track), 0) / kStrides + 1;
}

void SamplePlaces::prepare_move(iso_track* track, int sample, bool near) {
    on_path_ = on_path_ && is_undisturbed(track);
    if (!near && capacity_ > 0) prepare_jump(track, sample);
}

// Backwards, a plain walk begins at the first sample, and so on the path of the places. Forwards, it goes on
// from where the cursor is.
void SamplePlaces::prepare_jump(iso_track* track, int sample) {
    const Cursor here = Cursor::of(track);
    const bool forwards = here.sample < sample;
    if (forwards && sample - here.sample <= kStrides) return;
    const bool known_here = on_path_ || (forwards && is_on_path(track));
    if (forwards && !known_here) return;
    on_path_ = true;
    const bool departure_is_near = departure_.sample <= sample && sample - departure_.sample <= kStrides;
    const Cursor& nearest = departure_is_near ? departure_ : place_below(track, sample);
    (forwards && nearest.sample < here.sample ? here : nearest).put_into(track);
    if (known_here) departure_ = here;
}

// The cursor stays where it is.
bool SamplePlaces::is_on_path(iso_track* track) {
    const Cursor here = Cursor::of(track);
    place_below(track, here.sample).put_into(track);
    set_sample_pos(track, here.sample);
    const bool on_path = Cursor::of(track) == here;
    here.put_into(track);
    return on_path;
}

// May move the cursor.
const Cursor& SamplePlaces::place_below(iso_track* track, int sample) {
    learn(track, sample);
    return std::upper_bound(places_, places_ + known_, sample,
                            [](int wanted, const Cursor& place) { return wanted < place.sample; })[-1];
}

void SamplePlaces::learn(iso_track* track, int sample) {
    if (known_ == 0) places_[known_++] = {.file_pos = track->chunks[0].start};
    while (!complete_ && places_[known_ - 1].sample <= sample) {
        places_[known_ - 1].put_into(track);
        const int last = track->sample_count - 1;
        for (int i = 0; i < kStrides && track->sample < last; ++i)
            stride(track, last);
        complete_ = track->sample == last || known_ == capacity_;
        if (!complete_) places_[known_++] = Cursor::of(track);
    }
}

}  // namespace qlip
