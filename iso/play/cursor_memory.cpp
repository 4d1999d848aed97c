#include "iso/play/cursor_memory.h"

namespace qlip {

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

void CursorMemory::prepare_jump(iso_track* track, int sample) {
    const Cursor here = Cursor::of(track);
    const bool goes_back = here.sample > sample;
    const bool known_here = on_path_ && is_undisturbed(track);
    on_path_ = goes_back || known_here ||
               (here.sample == 0 && track->chunk_count > 0 &&
                here == Cursor{0, track->chunks[0].start, 0, 0, 0, 0, 0});
    if (!on_path_ || here.sample == sample || here.sample + 1 == sample) return;
    const Cursor* nearest = best_below(sample);
    if (nearest && (goes_back || nearest->sample > here.sample)) nearest->put_into(track);
    if (known_here) add_departure(here);
}

void CursorMemory::add_to_ladder(const iso_track* track) {
    const Cursor cursor = Cursor::of(track);
    newest_stretch_ = cursor.sample >> kFirstLevel;
    for (int shift = kFirstLevel; auto& [newest, older] : ladder_) {
        if (newest.known && newest.cursor.sample >> shift == cursor.sample >> shift) return;
        older = newest;
        newest = {true, cursor};
        ++shift;
    }
}

void CursorMemory::add_departure(const Cursor& cursor) {
    departures_[next_departure_] = {true, cursor};
    next_departure_ = (next_departure_ + 1) % kDepartures;
}

const Cursor* CursorMemory::best_below(int sample) const {
    const Cursor* best = nullptr;
    const auto consider = [&](const Place& place) {
        if (!place.known || place.cursor.sample > sample) return;
        if (!best || place.cursor.sample > best->sample) best = &place.cursor;
    };
    for (const auto& level : ladder_) {
        for (const Place& place : level)
            consider(place);
    }
    for (const Place& place : departures_)
        consider(place);
    return best;
}

}  // namespace qlip
