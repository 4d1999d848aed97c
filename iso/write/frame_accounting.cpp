#include "iso/write/frame_accounting.h"

#include <algorithm>
#include <cstdint>

#include "common/to_integer.h"

using namespace qlip;

namespace {

void settle_bit_rates(iso_track* track, double seconds) {
    if (track->avg_bitrate == 0 && seconds > 0) {
        track->avg_bitrate = to_u32(8.0 * (track->total_bytes / seconds));
    }
    if (track->max_bitrate == 0) track->max_bitrate = track->avg_bitrate;
}

void fix_sync_list(iso_track* track) {
    int kept = 0;
    iso_sync_sample** link = &track->sync_list;
    while (*link && static_cast<int64_t>((*link)->number) <= track->sample_count) {
        ++kept;
        link = &(*link)->next;
    }
    for (iso_sync_sample* dropped = *link; dropped; dropped = dropped->next)
        isoFFfree(dropped);
    *link = nullptr;
    track->sync_count = kept;
}

void fix_groups(iso_track* track) {
    int kept = 0;
    int64_t samples = 0;
    iso_group_run** link = &track->sbgp;
    while (*link) {
        samples += (*link)->sample_count;
        if (samples > track->sample_count) break;
        ++kept;
        link = &(*link)->next;
    }
    // The run that passes the end goes as a whole, so that what stays ends short of the samples: kept for
    // players of written files [sample-group-cut].
    for (iso_group_run* dropped = *link; dropped; dropped = dropped->next)
        isoFFfree(dropped);
    *link = nullptr;
    track->sbgp_count = kept;
}

}  // namespace

int fixhdr(iso_file* file) {
    for (iso_track* track = file->tracks; track; track = track->next) {
        fix_sync_list(track);
        fix_groups(track);
    }
    return 0;
}

namespace qlip {

bool has_frames(const iso_file* file) {
    for (const iso_track* track = file->tracks; track; track = track->next) {
        if (track->data_head) return true;
    }
    return false;
}

void clear_counts(iso_track* track) {
    track->data_cursor = nullptr;
    track->track_time = 0;
    track->stts_count = track->ctts_count = 0;
    track->sample_count = 0;
    track->duration = 0;
    track->buffer_size_db = 0;
    track->total_bytes = 0;
}

void cut_frames_behind(iso_track* track, iso_data* last) {
    iso_data*& link = last ? last->next : track->data_head;
    for (iso_data* frame = link; frame; frame = frame->next)
        isoFFfree(frame);
    link = nullptr;
}

// What is left of the estimate's room is no room for the header, which is exact.
void demand_room(iso_file* file, unsigned int* base, int64_t excess) {
    const int64_t left = std::max<int64_t>(int64_t{file->max_file_size} - file->header_bytes, 0);
    const int64_t wanted = int64_t{*base} + left + excess;
    *base = static_cast<unsigned int>(std::min<int64_t>(wanted, UINT32_MAX));
    file->header_bytes = *base;
}

void settle_rates(iso_file* file) {
    double longest = 0;
    for (iso_track* track = file->tracks; track; track = track->next) {
        const double seconds = media_seconds(track, track->duration);
        settle_bit_rates(track, seconds);
        longest = std::max(longest, seconds);
    }
    file->duration = to_u32(file->timescale * longest);
}

}  // namespace qlip
