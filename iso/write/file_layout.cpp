#include "iso/write/file_layout.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "common/diagnostics.h"
#include "iso/write/box_writer.h"
#include "iso/write/frame_accounting.h"
#include "iso/write/media_output.h"
#include "iso/write/writer_output.h"

using namespace qlip;

namespace {

void pull_down(double* limit, double reached) {
    if (*limit > reached) *limit = reached;
}

bool write_frame(MediaOutput& media, const iso_track* track, const iso_data* frame) {
    if (track->spill_file) return media.put_from(track->spill_file, frame->size);
    return media.put(frame->data, frame->size);
}

void start_walk(iso_track* track) {
    if (track->spill_file) rewind(track->spill_file);
    track->data_cursor = track->data_head;
    track->track_time = 0;
}

double time_behind(const iso_track* track, const iso_data* frame) {
    return track->track_time + media_seconds(track, frame->delta);
}

bool passes(const iso_track* track, const iso_data* frame, double limit) {
    return time_behind(track, frame) > limit;
}

// w_chunk for a track that has frames left.
int put_chunk(MediaOutput& media, iso_track* track, unsigned int offset, double* limit) {
    iso_data* frame = track->data_cursor;
    const unsigned int start = offset;
    double behind = time_behind(track, frame);
    do {
        if (!write_frame(media, track, frame)) break;
        frame->offset = offset;
        offset += static_cast<unsigned int>(frame->size);
        track->track_time = behind;
        frame = frame->next;
        if (!frame) break;
        behind = time_behind(track, frame);
    } while (!(behind > *limit));
    track->data_cursor = frame;
    pull_down(limit, track->track_time);
    return static_cast<int>(offset - start);
}

// w_mdat into an output that w_chunk finds.
int put_rounds(MediaOutput& media, iso_file* file, unsigned int offset, double period) {
    for (iso_track* track = file->tracks; track; track = track->next)
        start_walk(track);
    const unsigned int start = offset;
    double limit = 0;
    for (bool live = true; live && !failed(file);) {
        live = false;
        limit += period;
        for (iso_track* track = file->tracks; track && !failed(file); track = track->next) {
            const int written = w_chunk(track, offset, &limit);
            if (written < 0) continue;
            live = true;
            offset += static_cast<unsigned int>(written);
        }
    }
    media.flush();
    return static_cast<int>(offset - start);
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

int64_t excess_of_all(iso_file* file) {
    int64_t end = w_header(0, file, nullptr, 0);
    for (const iso_track* track = file->tracks; track; track = track->next)
        end += track->total_bytes;
    return excess(file, end);
}

// The estimates decide first; the header's own size tells what they missed.
void fit_below_the_limit(iso_file* file, unsigned int base) {
    file->header_bytes = base;
    if (over_the_limit(file)) {
        resize(file, file->interleave_period);
        fixhdr(file);
    } else {
        for (const iso_track* track = file->tracks; track; track = track->next)
            file->header_bytes += track->estimated_bytes;
    }
    while (has_frames(file)) {
        const int64_t too_much = excess_of_all(file);
        if (too_much == 0) break;
        demand_room(file, &base, too_much);
        resize(file, file->interleave_period);
        fixhdr(file);
    }
    settle_rates(file);
}

// The header's place is taken before the media, so that a full device cannot refuse it afterwards. Where
// there is no room for a header of all frames, one of fewer is tried.
bool make_room(iso_file* file, MediaOutput& output, unsigned int base, int* room) {
    for (bool tried = false;; tried = true) {
        *room = w_header(0, file, nullptr, 0);
        if (!move_to(file, 0, SEEK_SET)) return false;
        if (output.put_zeros(*room) && flush_output(file)) return true;
        const long taken = recover_output(file);
        if (taken < 0 || tried || taken > UINT32_MAX) break;
        file->max_file_size = std::min(file->max_file_size, static_cast<unsigned int>(taken));
        fit_below_the_limit(file, base);
    }
    disown(file);
    return false;
}

// Cuts each track at its first frame that did not reach the output whole. *media becomes what lies behind the
// header's room.
bool keep_what_was_written(iso_file* file, unsigned int room, unsigned int* media) {
    const long taken = recover_output(file);
    if (taken < 0) return false;
    file->status_flags &= ~ISO_STATUS_WRITE_FAILED;
    for (iso_track* track = file->tracks; track; track = track->next) {
        const iso_data* unwritten = track->data_cursor;
        clear_counts(track);
        for (iso_data* frame = track->data_head; frame && frame != unwritten; frame = frame->next) {
            if (uint64_t{frame->offset} + static_cast<unsigned int>(frame->size) >
                static_cast<uint64_t>(taken))
                break;
            count_frame(track, frame);
        }
        cut_frames_behind(track, track->data_cursor);
    }
    fixhdr(file);
    settle_rates(file);
    *media = std::max(static_cast<unsigned int>(taken), room) - room;
    return true;
}

// A header of fewer frames than it has room for is followed by the media box at once, whose first bytes are
// then what is left of the room.
bool write_header(iso_file* file, int room, unsigned int media) {
    const int counted = w_header(0, file, nullptr, 0);
    int size = 0;
    unsigned char* header =
        make_header(file, counted, media + static_cast<unsigned int>(room - counted), &size);
    if (!header) return false;
    if (counted != size) {
        myfprintf(stderr, "isoff error: pass 1 header size (%d) different from pass 2 (%d)\n", counted, size);
    }
    const bool written = move_to(file, 0, SEEK_SET) && put_out(file, header, size) && flush_output(file);
    isoFFfree(header);
    if (!written) disown(file);
    return written;
}

}  // namespace

int w_mdat(iso_file* file, unsigned int offset, double period) {
    if (MediaOutput* media = MediaOutput::of(file)) return put_rounds(*media, file, offset, period);
    MediaOutput media(file);
    return put_rounds(media, file, offset, period);
}

int w_chunk(iso_track* track, unsigned int offset, double* limit) {
    if (!track->data_cursor) return -1;
    if (MediaOutput* media = MediaOutput::of(track->file)) return put_chunk(*media, track, offset, limit);
    MediaOutput media(track->file);
    const int written = put_chunk(media, track, offset, limit);
    media.flush();
    return written;
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
    const unsigned int base = file->header_bytes;
    fit_below_the_limit(file, base);
    if (excess_of_all(file) > 0) return -1;  // not even a file without frames
    MediaOutput output(file);
    int room = 0;
    if (!make_room(file, output, base, &room)) return -1;
    const bool earlier = failed(file);
    file->status_flags &= ~ISO_STATUS_WRITE_FAILED;
    unsigned int media =
        static_cast<unsigned int>(w_mdat(file, static_cast<unsigned int>(room), file->interleave_period));
    if (!failed(file)) flush_output(file);
    const bool lost = failed(file);
    if (lost && !keep_what_was_written(file, static_cast<unsigned int>(room), &media)) return -1;
    const bool written = write_header(file, room, media);
    if (lost || earlier) set_failed(file);
    return failed(file) || !written ? -1 : 0;
}

}  // namespace qlip
