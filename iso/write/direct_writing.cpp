#include "iso/write/direct_writing.h"

#include <algorithm>
#include <cstdint>

#include "iso/model/model.h"
#include "iso/write/box_writer.h"
#include "iso/write/frame_accounting.h"
#include "iso/write/put_sequence.h"
#include "iso/write/writer_output.h"

using namespace qlip;

namespace {

constexpr int kBoxHeaderBytes = 8;
constexpr int kFreeBoxBytes = kBoxHeaderBytes;
// What isoFFopen charges for the boxes of the file itself.
constexpr unsigned int kFileHeaderBytes = 194;

// The current track's next step in dwr_flush.
enum class Step { Write, Stop, NextTrack };

bool is_closed(const iso_track* track) {
    return track->flags & ISO_TRACK_CLOSED;
}

iso_track* track_numbered(iso_file* file, unsigned int number) {
    iso_track* track = file->tracks;
    while (track && track->track_id != number)
        track = track->next;
    return track;
}

// Charges what a part of the header takes beyond what was charged for it before.
void charge(iso_file* file, int bytes, unsigned int charged) {
    if (static_cast<unsigned int>(bytes) > charged)
        file->header_bytes += static_cast<unsigned int>(bytes) - charged;
}

// moov without its tracks.
int file_boxes(iso_file* file) {
    return kBoxHeaderBytes + w_mvhd(0, file, nullptr) + w_iods(0, file, nullptr) + w_udta(0, file, nullptr);
}

// ftyp and the head of the media box, whose size is filled in at close.
int start_output(iso_file* file, int size) {
    const int ftyp_size = size - kBoxHeaderBytes;
    auto* head = static_cast<unsigned char*>(isoFFmalloc(file, size));
    if (!head) return ISO_WRITE_NO_MEMORY;
    w_ftyp(1, file, head);
    PutSequence(1, head + ftyp_size).u32(0).id("mdat");
    const bool written = file->stream && put_out(file, head, size);
    isoFFfree(head);
    if (!written) {
        set_failed(file);
        return ISO_WRITE_FAILED;
    }
    file->mdat_start = static_cast<unsigned int>(ftyp_size);
    file->position = static_cast<unsigned int>(size);
    charge(file, size + file_boxes(file), kFileHeaderBytes);
    return 0;
}

int choose_first_track(iso_file* file) {
    iso_track* first = track_numbered(file, file->direct_index);
    if (first && file->position == 0) {
        const int size = w_ftyp(0, file, nullptr) + kBoxHeaderBytes;
        if (excess(file, size) > 0) return 0;  // no frame can follow
        const int result = start_output(file, size);
        if (result < 0) return result;
    }
    file->direct_track = first;
    return 0;
}

void let_go_of_data(iso_data* frame, const void* caller_buffer) {
    if (frame->data && frame->data != caller_buffer) isoFFfree(frame->data);
    frame->data = nullptr;
}

unsigned int written_size_table_cost(const iso_track* track, const iso_data* frame) {
    return size_table_cost(track, frame, track->written_samples);
}

bool has_room(const iso_track* track, const iso_data* frame) {
    const unsigned int estimate = track->file->header_bytes + written_size_table_cost(track, frame);
    return fits(track->file, estimate, frame->size) &&
           uint64_t{track->written_duration} + frame->delta <= track->duration_limit;
}

void account_for(iso_track* track, iso_data* frame) {
    iso_file* file = track->file;
    unsigned int cost = written_size_table_cost(track, frame);
    leave_constant_size(track, frame);
    const auto size = static_cast<unsigned int>(frame->size);
    frame->offset = file->position;
    file->position += size;
    track->pending_bytes -= size;
    ++track->written_samples;
    track->written_duration += frame->delta;
    cost += static_cast<unsigned int>(per_frame_cost(track, frame));
    file->header_bytes += cost;
    track->written_cost += cost;
    track->total_bytes += size;
    track->pending = frame->next;
}

// A track that has no more frames leaves its turn to the others. Sets *time to where the track's clock stands
// behind its frame.
Step next_step(iso_track* track, double* time) {
    const iso_file* file = track->file;
    const bool takes_turns = file->direct_tracks > 1;
    if (!track->pending) {
        if (!is_closed(track) || !takes_turns) return Step::Stop;
        track->track_time = file->interleave_period;
        return Step::NextTrack;
    }
    *time = track->track_time + media_seconds(track, track->pending->delta);
    const bool slice_full = takes_turns && track->track_time != 0 && *time >= file->interleave_period;
    return slice_full ? Step::NextTrack : Step::Write;
}

// Writes the current track's frame, or closes the track when there is no room for it.
int write_pending(iso_track* track, double time, const void* caller_buffer) {
    iso_file* file = track->file;
    iso_data* frame = track->pending;
    if (!has_room(track, frame)) {
        cut_frames_at(track, frame, caller_buffer);
        track->flags |= ISO_TRACK_CLOSED;
        return 0;
    }
    if (!put_out(file, frame->data, frame->size)) return ISO_WRITE_FAILED;
    let_go_of_data(frame, caller_buffer);
    track->track_time = time;
    account_for(track, frame);
    return 0;
}

// Leaves out frames whose track never had a turn, which it has only among the first `direct_tracks` ones.
void take_what_was_written(iso_file* file) {
    for (iso_track* track = file->tracks; track; track = track->next) {
        if (track->pending) cut_frames_at(track, track->pending, nullptr);
        track->sample_count = static_cast<int>(track->written_samples);
        track->duration = track->written_duration;
    }
}

// What header_bytes was before frames were counted into it.
unsigned int frameless_header_bytes(const iso_file* file) {
    unsigned int bytes = file->header_bytes;
    for (const iso_track* track = file->tracks; track; track = track->next)
        bytes -= track->written_cost;
    return bytes;
}

void count_frames_anew(iso_file* file) {
    file->position = file->mdat_start + kBoxHeaderBytes;
    dwr_resize(file);
    fixhdr(file);
}

// By how many bytes the file is too long with moov where the media ends, and `behind` bytes after it.
int64_t excess_with_header(iso_file* file, int behind) {
    return excess(file, int64_t{file->position} + w_header(0, file, nullptr, 0) + behind);
}

// Drops the last frames until moov and a free box after it end below the limit: the estimates decide first,
// moov's own size tells what they missed. False when not even a moov without frames fits.
bool fit_below_the_limit(iso_file* file, unsigned int base) {
    while (const int64_t too_much = excess_with_header(file, kFreeBoxBytes)) {
        if (!has_frames(file)) return false;
        demand_room(file, &base, too_much);
        count_frames_anew(file);
    }
    return true;
}

// After a failed write: the header has to fit into what the output took.
bool shrink_to_the_output(iso_file* file) {
    const unsigned int base = frameless_header_bytes(file) + kFreeBoxBytes;
    const long taken = recover_output(file);
    if (taken < 0) return false;
    file->max_file_size = static_cast<unsigned int>(std::min<int64_t>(taken, file->max_file_size));
    file->header_bytes = base;
    count_frames_anew(file);
    const bool fitting = fit_below_the_limit(file, base);
    return move_to(file, static_cast<long>(file->position), SEEK_SET) && fitting;
}

// False when the header did not reach the output.
bool write_movie_box(iso_file* file) {
    const int counted = w_header(0, file, nullptr, 0);
    int size = 0;
    unsigned char* header = make_header(file, counted, 0, &size);
    if (!header) return false;
    FILE* out = output(file);
    const auto wanted = static_cast<size_t>(size);
    const bool written = fwrite(header, 1, wanted, out) == wanted && fflush(out) == 0;
    isoFFfree(header);
    return written;
}

// Covers what an earlier, longer write left behind moov, or where moov would stand.
void put_free_box(iso_file* file, bool has_moov) {
    if (!has_moov && excess(file, int64_t{file->position} + kFreeBoxBytes) > 0) return;
    unsigned char box[kFreeBoxBytes];
    PutSequence(1, box).u32(0).id("free");
    put_out(file, box, sizeof box);
}

void patch_media_size(iso_file* file) {
    unsigned char size[4];
    put32(1, size, file->position - file->mdat_start);
    if (!move_to(file, static_cast<long>(file->mdat_start), SEEK_SET)) return;
    put_out(file, size, sizeof size);
    if (fflush(output(file)) != 0) set_failed(file);
}

void close_all_tracks(iso_file* file) {
    for (iso_track* track = file->tracks; track; track = track->next)
        track->flags |= ISO_TRACK_CLOSED;
    if (!failed(file)) dwr_flush(file, nullptr);
    if (fflush(output(file)) != 0) set_failed(file);
}

}  // namespace

int dwr_flush(iso_file* file, void* caller_buffer) {
    if (!file->direct_track) {
        const int result = choose_first_track(file);
        if (result < 0) return result;
    }
    while (iso_track* track = file->direct_track) {
        double time = 0;
        const Step step = next_step(track, &time);
        if (step == Step::Stop) return 0;
        if (step == Step::NextTrack) {
            const iso_track* next = dwr_next_track(file);
            if (!next || !next->pending) return 0;
            continue;
        }
        const int result = write_pending(track, time, caller_buffer);
        if (result < 0) return result;
    }
    return 0;
}

iso_track* dwr_next_track(iso_file* file) {
    if (!file->direct_track || !file->tracks) return nullptr;
    for (int i = 0; i < file->direct_tracks; ++i) {
        ++file->direct_index;
        file->direct_track = file->direct_track->next;
        if (!file->direct_track || static_cast<int64_t>(file->direct_index) > file->direct_tracks) {
            file->direct_index = 1;
            file->direct_track = file->tracks;
        }
        iso_track* track = file->direct_track;
        if (track->pending || !is_closed(track)) {
            track->track_time = 0;
            return track;
        }
    }
    return nullptr;
}

int dwr_resize(iso_file* file) {
    for (iso_track* track = file->tracks; track; track = track->next) {
        clear_counts(track);
        track->written_cost = 0;
        track->data_cursor = track->data_head;
    }
    for (bool live = true, full = false; live && !full;) {
        live = false;
        for (iso_track* track = file->tracks; track && !full; track = track->next) {
            const int result = dwr_count_track_data(track);
            live = live || result == 1;
            full = result < 0;
        }
    }
    for (iso_track* track = file->tracks; track; track = track->next) {
        if (track->data_cursor) cut_frames_at(track, track->data_cursor, nullptr);
    }
    return 0;
}

int dwr_count_track_data(iso_track* track) {
    iso_file* file = track->file;
    iso_data* frame = track->data_cursor;
    if (!frame) return 0;
    do {
        if (frame == track->pending) return 0;  // never reached the output
        const unsigned int extra =
            size_table_cost(track, frame, static_cast<unsigned int>(track->sample_count));
        if (!fits(file, file->header_bytes + extra, frame->size)) return -1;
        leave_constant_size(track, frame);
        ++track->sample_count;
        track->duration += frame->delta;
        track->total_bytes += static_cast<unsigned int>(frame->size);
        const unsigned int cost = extra + static_cast<unsigned int>(per_frame_cost(track, frame));
        file->header_bytes += cost;
        track->written_cost += cost;
        file->position = std::max(file->position, frame->offset + static_cast<unsigned int>(frame->size));
        frame = track->data_cursor = frame->next;
    } while (frame && frame->offset == file->position);
    return 1;
}

namespace qlip {

void charge_description(iso_track* track) {
    const unsigned int entry = track->codec == ISO_CODEC_S263 ? kH263EntryBytes : 0;
    charge(track->file, w_trak(0, track, nullptr), kTrackHeaderBytes + entry);
}

void cut_frames_at(iso_track* track, iso_data* frame, const void* caller_buffer) {
    iso_data* last = nullptr;
    for (iso_data* kept = track->data_head; kept != frame; kept = kept->next)
        last = kept;
    for (iso_data* dropped = frame; dropped; dropped = dropped->next) {
        if (dropped->data) track->pending_bytes -= static_cast<unsigned int>(dropped->size);
        if (dropped == track->pending) track->pending = nullptr;
        let_go_of_data(dropped, caller_buffer);
    }
    cut_frames_behind(track, last);
    track->data_cursor = last;
}

int write_direct(iso_file* file) {
    close_all_tracks(file);
    bool fitting = true;
    bool shrunk = false;
    if (failed(file)) {
        if (file->position == 0) disown(file);
        if (file->position == 0) return -1;
        fitting = shrink_to_the_output(file);
    } else {
        take_what_was_written(file);
        fixhdr(file);
        const unsigned int end = file->position;
        if (excess_with_header(file, 0) > 0)
            fitting = fit_below_the_limit(file, frameless_header_bytes(file));
        shrunk = file->position < end;
        if (shrunk) move_to(file, static_cast<long>(file->position), SEEK_SET);
    }
    settle_rates(file);
    const bool written = fitting && write_movie_box(file);
    if (fitting && !written && !failed(file)) {
        set_failed(file);
        return write_direct(file);
    }
    // A header that did not fit even so gives way to the free box.
    if (!written) move_to(file, static_cast<long>(file->position), SEEK_SET);
    if (failed(file) || shrunk) put_free_box(file, written);
    if (file->position != 0) patch_media_size(file);
    return failed(file) || !written ? -1 : 0;
}

}  // namespace qlip
