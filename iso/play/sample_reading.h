// Reading samples at a track's cursor and by number. The session's readers do so for every chunk, hence
// inline: for callers that want no times nothing of them is left.
#pragma once

#include <algorithm>

#include "host/host_calls.h"
#include "iso/play/sample_cursor.h"

namespace qlip {

// The value of a time table at the cursor, in seconds; nothing lies behind its last row.
inline double time_at(const iso_track* track, const int (*rows)[2], int count, int index) {
    if (index >= count || track->timescale == 0) return 0.0;
    return rows[index][1] / static_cast<double>(track->timescale);
}

inline void produce_times(const iso_track* track, double* time, double* cto) {
    if (time) *time = time_at(track, track->stts, track->stts_count, track->stts_index);
    if (cto) *cto = time_at(track, track->ctts, track->ctts_count, track->ctts_index);
}

inline bool has_sample(const iso_track* track, int sample) {
    return sample >= 0 && sample < track->sample_count;
}

// A track without chunks has its samples nowhere.
inline bool is_readable(const iso_track* track) {
    return track && track->file && track->chunk_count > 0;
}

// The next sample's bytes. 0, ISOFF_NOT_YET when the host does not have them now, or ISOFF_END for a sample
// that lies behind the end of the file, where a read succeeds and brings nothing.
inline int fetch(const iso_track* track, unsigned char* buffer, unsigned int size, unsigned int* got) {
    const iso_file* file = track->file;
    if (file->indexed_read)
        return io_read_at(file->io, buffer, track->file_pos, size, got) == 0 ? 0 : ISOFF_NOT_YET;
    *got = size;
    if (io_seek(file->io, track->file_pos) != 0 || io_read(file->io, buffer, got) != 0) return ISOFF_NOT_YET;
    if (*got == 0 && size > 0) [[unlikely]]
        return ISOFF_END;
    return 0;
}

// Bytes of the sample at the cursor of a track of a file. ISOFF_END for none, or for one of more than `size`
// bytes.
inline int next_sample_size(const iso_track* track, int size) {
    if (track->chunk_count <= 0 || size < 0 || !has_sample(track, track->sample)) return ISOFF_END;
    const unsigned int wanted = size_of_sample(track, track->sample);
    return wanted <= static_cast<unsigned int>(size) ? static_cast<int>(wanted) : ISOFF_END;
}

// Behind `bytes` of the sample at the cursor.
inline void pass_sample(iso_track* track, unsigned int bytes) {
    ++track->sample;
    // By what was delivered: after a short read the cursor no longer stands on a sample's start. Kept for
    // players that read what is left of the sample next [isoffread-short-read].
    if (advance_position(track, bytes) && track->pending_head)
        track->pending_head = track->pending_head->next;
}

// Reads that sample for a reader that wants no times and is alone with the track: its places in the time
// tables stay. A whole sample moves the cursor by the size in the table, so that the next read need not wait
// for what the host says.
inline int take_sample_alone(iso_track* track, void* buffer, int size) {
    const auto wanted = static_cast<unsigned int>(size);
    unsigned int got = 0;
    const int failure = fetch(track, static_cast<unsigned char*>(buffer), wanted, &got);
    if (failure != 0) [[unlikely]]
        return failure;
    if (got < wanted) [[unlikely]] {
        pass_sample(track, got);
        return static_cast<int>(got);
    }
    pass_sample(track, wanted);
    return size;
}

inline int take_sample(iso_track* track, void* buffer, int size, double* time, double* cto) {
    const int got = take_sample_alone(track, buffer, size);
    if (got < 0) return got;
    produce_times(track, time, cto);
    advance_times(track);
    return got;
}

// Bytes of the sample at the cursor, which has as many.
[[gnu::always_inline]] inline int read_here(const iso_track* track, unsigned int from, unsigned char* to,
                                            unsigned int count) {
    const iso_file* file = track->file;
    if (file->indexed_read) {
        unsigned int got = 0;
        if (io_read_at(file->io, to, track->file_pos + from, count, &got) != 0) return ISOFF_NOT_YET;
    } else {
        // Neither status counts here, only the length, so positioned reading never says "not yet": kept
        // for hosts that know no other answer of it [isoffreadat-not-yet].
        io_seek(file->io, track->file_pos + from);
        io_read(file->io, to, &count);
    }
    return static_cast<int>(count);
}

// isoFFreadAt without the times, for a sample that is_readable() and has_sample() know, its size, and the way
// to move there. Inlined wherever it stands: hint playback calls it several times a packet.
template <typename Move>
[[gnu::always_inline]] inline int read_slice(iso_track* track, int sample, unsigned int size,
                                             unsigned int from, unsigned char* to, unsigned int count,
                                             Move move) {
    if (count == 0 || from >= size) return 0;
    move(track, sample);
    return read_here(track, from, to, std::min(count, size - from));
}

[[gnu::always_inline]] inline int read_slice(iso_track* track, int sample, unsigned int size,
                                             unsigned int from, unsigned char* to, unsigned int count) {
    return read_slice(track, sample, size, from, to, count, move_to_sample);
}

}  // namespace qlip
