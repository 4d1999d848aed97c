// isoFFwrite: takes a frame into a track that is being written.

#include <cstdint>
#include <cstring>

#include "iso/model/arena.h"
#include "iso/write/direct_writing.h"
#include "iso/write/frame_accounting.h"
#include "iso/write/writer_output.h"

using namespace qlip;

namespace {

bool is_direct(const iso_file* file) {
    return file->status_flags & ISO_STATUS_DIRECT;
}

int close_with(iso_track* track, int result) {
    track->flags |= ISO_TRACK_CLOSED;
    return result;
}

// The tests ahead of any change, in their order. 0 when the track takes frames.
int check_call(const iso_track* track, const void* buf, int n) {
    if (!track || !track->file || n < 0 || (n > 0 && !buf)) return ISO_WRITE_BAD_CALL;
    if (failed(track->file)) return ISO_WRITE_FAILED;
    if (track->flags & ISO_TRACK_CLOSED) return ISO_WRITE_TRACK_CLOSED;
    return 0;
}

iso_data* new_frame(iso_track* track, int n, unsigned int delta, unsigned int cto, bool with_data) {
    constexpr int kRecord = static_cast<int>(sizeof(iso_data));
    static_assert(kRecord == 40);
    if (n > INT32_MAX - kRecord) return nullptr;
    auto* frame = static_cast<iso_data*>(arena_take(track->file, kRecord + (with_data ? n : 0)));
    if (!frame) return nullptr;
    *frame = {delta, cto, n, nullptr, 0, nullptr};
    if (with_data) frame->data = reinterpret_cast<unsigned char*>(frame + 1);
    return frame;
}

// The cursor walks only at close, so while frames come in it stands on the last one.
void append(iso_track* track, iso_data* frame) {
    if (track->data_cursor) {
        track->data_cursor->next = frame;
    } else {
        track->data_head = frame;
    }
    track->data_cursor = frame;
    ++track->sample_count;
    track->duration += frame->delta;
}

int write_normal_frame(iso_track* track, const void* buf, int n, unsigned int delta, unsigned int cto) {
    iso_data* frame = new_frame(track, n, delta, cto, !track->spill_file);
    if (!frame) return ISO_WRITE_NO_MEMORY;
    if (track->spill_file && n > 0) {
        if (fwrite_unlocked(buf, 1, static_cast<size_t>(n), track->spill_file) != static_cast<size_t>(n)) {
            set_failed(track->file);
            return ISO_WRITE_FAILED;
        }
    } else if (n > 0) {
        std::memcpy(frame->data, buf, static_cast<size_t>(n));
    }
    append(track, frame);
    const auto samples = static_cast<unsigned int>(track->sample_count);
    track->estimated_bytes += size_table_cost(track, frame, samples);
    leave_constant_size(track, frame);
    track->estimated_bytes += static_cast<unsigned int>(per_frame_cost(track, frame));
    track->total_bytes += static_cast<unsigned int>(n);
    return n;
}

// A frame that has to wait must outlive the caller's buffer.
bool keep_waiting_frame(iso_track* track, iso_data* frame) {
    auto* copy = static_cast<unsigned char*>(arena_take(track->file, frame->size));
    if (!copy) return false;
    if (frame->size > 0) std::memcpy(copy, frame->data, static_cast<size_t>(frame->size));
    frame->data = copy;
    return true;
}

int write_direct_frame(iso_track* track, void* buf, int n, unsigned int delta, unsigned int cto) {
    if (static_cast<int64_t>(track->track_id) > track->file->direct_tracks) return ISO_WRITE_NO_DIRECT_TRACK;
    iso_data* frame = new_frame(track, n, delta, cto, false);
    if (!frame) return ISO_WRITE_NO_MEMORY;
    if (!track->data_head) charge_description(track);
    append(track, frame);
    if (!track->pending) track->pending = frame;
    frame->data = static_cast<unsigned char*>(buf);
    track->pending_bytes += static_cast<unsigned int>(n);
    const int result = dwr_flush(track->file, buf);
    if (frame->data && !keep_waiting_frame(track, frame)) {
        cut_frames_at(track, frame, buf);
        return ISO_WRITE_NO_MEMORY;
    }
    if (result < 0) return result;
    track->estimated_bytes += static_cast<unsigned int>(n) + 4;
    return n;
}

}  // namespace

int isoFFwrite(iso_track* track, void* buf, int n, int delta, int cto) {
    const int refused = check_call(track, buf, n);
    if (refused < 0) return refused;
    if (!fits(track->file, track->estimated_bytes, n)) return close_with(track, ISO_WRITE_FILE_FULL);
    if (delta != 0) track->default_delta = static_cast<unsigned int>(delta);
    if (uint64_t{track->duration} + track->default_delta > track->duration_limit) {
        return close_with(track, ISO_WRITE_TOO_LONG);
    }
    const unsigned int offset = static_cast<unsigned int>(cto);
    return is_direct(track->file) ? write_direct_frame(track, buf, n, track->default_delta, offset)
                                  : write_normal_frame(track, buf, n, track->default_delta, offset);
}
