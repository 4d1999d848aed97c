// Sequential and random access to samples, and what a host asks about a file and its tracks.
#include <algorithm>
#include <cstdint>

#include "iso/play/sample_access.h"
#include "iso/play/sample_reading.h"
#include "iso/play/within_limits.h"

namespace {

double seconds_of(unsigned int value, unsigned int timescale) {
    return timescale == 0 ? 0.0 : value / static_cast<double>(timescale);
}

void rewind(iso_track* track) {
    track->sample = track->chunk = 0;
    track->stts_index = track->stts_run = 0;
    track->ctts_index = track->ctts_run = 0;
    if (track->chunk_count > 0) track->file_pos = track->chunks[0].start;
}

int64_t steps_left_in_row(const int (*rows)[2], int count, int index, int run) {
    return index < count ? int64_t{rows[index][0]} - run : INT32_MAX;
}

// How many steps of a constant size, out of `most`, end inside the present chunk and time rows. Tracks of
// many small samples have few rows, so that these steps are taken at once.
int uniform_steps(const iso_track* track, int most) {
    int64_t steps = most;
    if (track->chunk < track->chunk_count) {
        const unsigned int end = track->chunks[track->chunk].end;
        if (track->file_pos >= end) return 0;
        steps = std::min<int64_t>(steps, (end - track->file_pos - 1) / track->sample_size);
    }
    steps = std::min(
        steps, steps_left_in_row(track->stts, track->stts_count, track->stts_index, track->stts_run) - 1);
    if (track->ctts_count > 0) {
        steps = std::min(
            steps, steps_left_in_row(track->ctts, track->ctts_count, track->ctts_index, track->ctts_run) - 1);
    }
    return static_cast<int>(std::max<int64_t>(steps, 0));
}

void step_uniform(iso_track* track, int steps) {
    track->file_pos += track->sample_size * static_cast<unsigned int>(steps);
    track->stts_run += steps;
    if (track->ctts_count > 0) track->ctts_run += steps;
    track->sample += steps;
}

}  // namespace

void qlip::stride(iso_track* track, int n) {
    const int more = n - track->sample - 1;
    if (more > 0 && track->sample_size != 0) step_uniform(track, uniform_steps(track, more));
    step(track);
}

void set_sample_pos(iso_track* track, int n) {
    if (track->sample > n) rewind(track);
    while (track->sample < n)
        qlip::stride(track, n);
}

unsigned int trackSize(iso_track* track) {
    if (track->sample_size != 0) return static_cast<unsigned int>(track->sample_count) * track->sample_size;
    unsigned int sum = 0;
    for (int i = 0; i < track->sample_count; ++i)
        sum += qlip::size_of_sample(track, i);
    return sum;
}

int isoFFread(iso_track* track, void* buf, int size, double* time, double* cto) {
    if (!qlip::is_readable(track)) return ISOFF_END;
    const int wanted = qlip::next_sample_size(track, size);
    if (wanted < 0) return wanted;
    return qlip::within_limits(track, [=] { return qlip::take_sample(track, buf, wanted, time, cto); });
}

int isoFFreadAt(iso_track* track, int sample, int offset, void* buf, unsigned int len, double* time,
                double* cto) {
    if (!qlip::is_readable(track) || !qlip::has_sample(track, sample)) return ISOFF_END;
    const auto from = static_cast<unsigned int>(offset);
    const unsigned int size = qlip::size_of_sample(track, sample);
    const int got = qlip::within_limits(track, [=] {
        return qlip::read_slice(track, sample, size, from, static_cast<unsigned char*>(buf), len);
    });
    if (len != 0 && from < size && got != ISOFF_NOT_YET) qlip::produce_times(track, time, cto);
    return got;
}

int isoFFsetPosition(iso_track* track, int sample) {
    if (!track || !qlip::has_sample(track, sample)) return -1;
    set_sample_pos(track, sample);
    // Hint playback that has ended starts again from here.
    hint_state* hint = track->hint;
    if (hint && hint->sample >= track->sample_count) {
        hint->sample = sample;
        hint->packets_left = hint->sample_offset = 0;
    }
    return 0;
}

int isoFFfileInfo(iso_file* file, int* tracks, double* time, int* bytes) {
    if (!file) return -1;
    int count = 0;
    unsigned int sum = 0;
    for (iso_track* track = file->tracks; track; track = track->next, ++count)
        sum += trackSize(track);
    if (tracks) *tracks = count;
    if (time) *time = seconds_of(file->duration, file->timescale);
    if (bytes) *bytes = static_cast<int>(sum);
    return 0;
}

int isoFFtrackInfo(iso_track* track, int* kind, int* samples, double* time, int* bytes) {
    if (!track) return -1;
    if (kind) *kind = track->codec;
    if (samples) *samples = track->sample_count;
    if (time) *time = seconds_of(track->duration, track->timescale);
    if (bytes) *bytes = static_cast<int>(trackSize(track));
    return 0;
}

int isoFFframeInfo(iso_track* track, double* time, int* size) {
    if (!track || !qlip::has_sample(track, track->sample)) return -1;
    qlip::produce_times(track, time, nullptr);
    if (!size) return 0;
    unsigned int bytes = qlip::size_of_sample(track, track->sample);
    if ((track->flags & ISO_TRACK_PREPEND_DSI) && track->dsi_size >= 1)
        bytes += static_cast<unsigned int>(track->dsi_size);
    *size = static_cast<int>(bytes);
    return 0;
}
