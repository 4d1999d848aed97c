#include "iso/write/file_layout.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/diagnostics.h"
#include "iso/write/box_writer.h"
#include "iso/write/frame_accounting.h"
#include "iso/write/writer_output.h"

using namespace qlip;

namespace {

constexpr int kSpillBlock = 4096;

void pull_down(double* limit, double reached) {
    if (*limit > reached) *limit = reached;
}

bool copy_from_spill(iso_track* track, int size) {
    std::array<unsigned char, kSpillBlock> block;
    while (size > 0) {
        const int part = std::min(size, kSpillBlock);
        if (fread(block.data(), 1, static_cast<size_t>(part), track->spill_file) !=
            static_cast<size_t>(part)) {
            set_failed(track->file);
            return false;
        }
        if (!put_out(track->file, block.data(), part)) return false;
        size -= part;
    }
    return true;
}

bool write_frame(iso_track* track, const iso_data* frame) {
    if (track->spill_file) return copy_from_spill(track, frame->size);
    return put_out(track->file, frame->data, frame->size);
}

void start_walk(iso_track* track) {
    if (track->spill_file) rewind(track->spill_file);
    track->data_cursor = track->data_head;
    track->track_time = 0;
}

bool passes(const iso_track* track, const iso_data* frame, double limit) {
    return track->track_time + media_seconds(track, frame->delta) > limit;
}

void count_frame(iso_track* track, iso_data* frame) {
    const unsigned int extra = size_table_cost(track, frame, static_cast<unsigned int>(track->sample_count));
    leave_constant_size(track, frame);
    ++track->sample_count;
    track->duration += frame->delta;
    track->total_bytes += static_cast<unsigned int>(frame->size);
    track->file->header_bytes += extra + static_cast<unsigned int>(per_frame_cost(track, frame));
    track->track_time += media_seconds(track, frame->delta);
    track->data_cursor = frame;
}

bool over_the_limit(const iso_file* file) {
    uint64_t total = file->header_bytes;
    for (const iso_track* track = file->tracks; track; track = track->next)
        total += track->estimated_bytes;
    return total > file->max_file_size;
}

}  // namespace

int w_mdat(iso_file* file, unsigned int offset, double period) {
    for (iso_track* track = file->tracks; track; track = track->next)
        start_walk(track);
    const unsigned int start = offset;
    double limit = 0;
    for (bool live = true; live;) {
        live = false;
        limit += period;
        for (iso_track* track = file->tracks; track; track = track->next) {
            const int written = w_chunk(track, offset, &limit);
            if (written < 0) continue;
            live = true;
            offset += static_cast<unsigned int>(written);
            if (failed(file)) return static_cast<int>(offset - start);
        }
    }
    return static_cast<int>(offset - start);
}

int w_chunk(iso_track* track, unsigned int offset, double* limit) {
    iso_data* frame = track->data_cursor;
    if (!frame) return -1;
    const unsigned int start = offset;
    do {
        if (!write_frame(track, frame)) break;
        frame->offset = offset;
        offset += static_cast<unsigned int>(frame->size);
        track->track_time += media_seconds(track, frame->delta);
        frame = frame->next;
    } while (frame && !passes(track, frame, *limit));
    track->data_cursor = frame;
    pull_down(limit, track->track_time);
    return static_cast<int>(offset - start);
}

int resize(iso_file* file, double period) {
    for (iso_track* track = file->tracks; track; track = track->next)
        clear_counts(track);
    double limit = 0;
    for (bool live = true; live;) {
        live = false;
        limit += period;
        for (iso_track* track = file->tracks; track; track = track->next) {
            if (count_track_data(track, &limit) == 1) live = true;
        }
    }
    return 0;
}

int count_track_data(iso_track* track, double* limit) {
    iso_data* frame = track->data_cursor ? track->data_cursor->next : track->data_head;
    if (!frame) return 0;
    do {
        const unsigned int extra =
            size_table_cost(track, frame, static_cast<unsigned int>(track->sample_count));
        if (!fits(track->file, track->file->header_bytes + extra, frame->size)) {
            pull_down(limit, track->track_time);
            cut_frames_behind(track, track->data_cursor);
            return 0;
        }
        count_frame(track, frame);
        frame = frame->next;
    } while (frame && !passes(track, frame, *limit));
    pull_down(limit, track->track_time);
    return 1;
}

namespace qlip {

int write_normal(iso_file* file) {
    if (over_the_limit(file)) {
        resize(file, file->interleave_period);
        fixhdr(file);
    }
    settle_rates(file);
    const int counted = w_header(0, file, nullptr, 0);
    if (!move_to(file, counted, SEEK_SET)) return -1;
    const int media = w_mdat(file, static_cast<unsigned int>(counted), file->interleave_period);
    if (failed(file) || !move_to(file, 0, SEEK_SET)) return -1;
    int size = 0;
    unsigned char* header = make_header(file, counted, static_cast<unsigned int>(media), &size);
    if (!header) return -1;
    if (counted != size) {
        myfprintf(stderr, "isoff error: pass 1 header size (%d) different from pass 2 (%d)\n", counted, size);
    }
    const bool written = put_out(file, header, size) && fflush(output(file)) == 0;
    isoFFfree(header);
    if (written) return 0;
    set_failed(file);
    disown(file);
    return -1;
}

}  // namespace qlip
