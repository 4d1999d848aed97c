// The sample tables of a track (ISO/IEC 14496-12 8.6, 8.7): loaded in the file's own run-length form, then
// completed and clipped to what they support. A refused table leaves its count at 0.
#include <algorithm>
#include <cstdint>
#include <numeric>

#include "common/diagnostics.h"
#include "iso/model/arena.h"
#include "iso/model/open_file.h"
#include "iso/play/sample_cursor.h"
#include "iso/read/box_handlers.h"
#include "iso/read/box_tables.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

int refuse_extra(const char* message) {
    myfprintf(stderr, "%s", message);
    return kRefuse;
}

// Version, flags and count, then rows of `columns` words. Null when refused; *count is then 0.
unsigned int* read_counted_table(iso_file* file, unsigned int columns, int* count) {
    skip(file, 4);
    const unsigned int rows = read_u32(file);
    *count = 0;
    unsigned int* table = read_table(file, rows, columns);
    if (table) *count = static_cast<int>(rows);
    return table;
}

int64_t sum_of_counts(const int (*rows)[2], int count) {
    int64_t sum = 0;
    for (int i = 0; i < count; ++i)
        sum += rows[i][0];
    return sum;
}

bool time_tables_fit(const iso_track* track) {
    if (track->sample_count > sum_of_counts(track->stts, track->stts_count)) {
        myfprintf(stderr, "invalid stts\n");
        return false;
    }
    const int64_t ctts_sum = sum_of_counts(track->ctts, track->ctts_count);
    if (track->sample_count > ctts_sum && ctts_sum > 0) {
        myfprintf(stderr, "invalid ctts %d\n", static_cast<int>(ctts_sum));
        return false;
    }
    return true;
}

// Samples per chunk, chunk after chunk. The first-chunk column counts by its differences alone, and the last
// row serves all chunks that are left.
class ChunkRuns {
  public:
    explicit ChunkRuns(const iso_track* track) : track_(track) {}

    unsigned int next() {
        if (--run_ < 1) next_row();
        return row_ >= 0 ? track_->stsc[row_][1] : 0;
    }

  private:
    void next_row() {
        if (row_ < track_->stsc_count - 2) {
            ++row_;
            run_ = int64_t{static_cast<int>(track_->stsc[row_ + 1][0] - track_->stsc[row_][0])};
        } else {
            row_ = track_->stsc_count - 1;
            run_ = 1;
        }
    }

    const iso_track* track_;
    int row_ = -1;
    int64_t run_ = 0;
};

unsigned int bytes_of_samples(const iso_track* track, int from, int to) {
    if (track->sample_size != 0) return track->sample_size * static_cast<unsigned int>(to - from);
    return std::accumulate(track->sample_sizes + from, track->sample_sizes + to, 0U);
}

struct Reached {
    int samples = 0;
    int chunks = 0;
};

void end_single_sample_chunks(iso_track* track) {
    for (int i = 0; i < track->chunk_count; ++i)
        track->chunks[i].end = track->chunks[i].start + size_of_sample(track, i);
}

Reached end_chunks(iso_track* track) {
    ChunkRuns runs(track);
    Reached reached;
    for (; reached.chunks < track->chunk_count; ++reached.chunks) {
        const int64_t samples = int64_t{reached.samples} + runs.next();
        if (samples > track->sample_count) break;
        chunk_span& chunk = track->chunks[reached.chunks];
        chunk.end = chunk.start + bytes_of_samples(track, reached.samples, static_cast<int>(samples));
        reached.samples = static_cast<int>(samples);
    }
    return reached;
}

void clip(iso_track* track, const Reached& reached) {
    if (reached.samples >= track->sample_count && reached.chunks >= track->chunk_count) return;
    myfprintf(stderr,
              "Warning: inconsistent stsc/stco/stsz tables --- sample count %d/%d stco count %d/%d \n",
              track->sample_count, reached.samples, track->chunk_count, reached.chunks);
    if (reached.samples < track->sample_count) track->sample_count = reached.samples;
    if (reached.chunks < track->chunk_count) track->chunk_count = reached.chunks;
}

int read_pairs(iso_file* file, int (**rows)[2], int* count) {
    unsigned int* table = read_counted_table(file, 2, count);
    *rows = reinterpret_cast<int(*)[2]>(table);
    return table ? kGoOn : kRefuse;
}

// Sum and largest entry, compared as signed.
struct SizeMeasure {
    unsigned int sum = 0;
    int largest = 0;

    void add(const unsigned int* sizes, int count) {
        for (int i = 0; i < count; ++i) {
            sum += sizes[i];
            largest = std::max(largest, static_cast<int>(sizes[i]));
        }
    }
};

void measure_sizes(iso_track* track) {
    constexpr int kBlock = 64;  // a fixed count lets the compiler use wide registers
    SizeMeasure measure;
    int done = 0;
    for (; track->sample_count - done >= kBlock; done += kBlock)
        measure.add(track->sample_sizes + done, kBlock);
    measure.add(track->sample_sizes + done, track->sample_count - done);
    track->total_bytes += measure.sum;
    track->max_sample_size = std::max(track->max_sample_size, measure.largest);
}

}  // namespace

int P_stbl(iso_file* file, int size) {
    iso_track* track = file->current_track;
    const bool ended_before = track->chunk_count != 0;  // by an earlier stbl
    const int result = parse(file, stbl_box, size);
    if (result == kRefuse || !time_tables_fit(track)) {
        // Nobody worked out where the chunks end: there is nothing to read.
        if (!ended_before) track->chunk_count = 0;
        return kRefuse;
    }
    if (track->sample_count == track->chunk_count) {
        end_single_sample_chunks(track);
    } else {
        clip(track, end_chunks(track));
    }
    if (track->chunk_count >= 1) track->file_pos = track->chunks[0].start;
    return result;
}

int P_stts(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (track->stts) return refuse_extra("extra stts\n");
    return read_pairs(file, &track->stts, &track->stts_count);
}

int P_ctts(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (track->ctts) return refuse_extra("extra ctts\n");
    return read_pairs(file, &track->ctts, &track->ctts_count);
}

int P_stsz(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (track->sample_sizes) return refuse_extra("extra stsz\n");
    skip(file, 4);  // version, flags
    track->sample_size = read_u32(file);
    const unsigned int count = read_u32(file);
    LimitedCallbacks* limits = limits_of(file);
    if (limits && !limits->take_samples(count)) return kRefuse;
    if (track->sample_size != 0) {
        track->sample_count = static_cast<int>(count);
        track->total_bytes = track->sample_size * count;
        return kGoOn;
    }
    track->sample_count = 0;
    track->sample_sizes = read_table(file, count, 1);
    if (!track->sample_sizes) return kRefuse;
    track->sample_count = static_cast<int>(count);
    measure_sizes(track);
    return kGoOn;
}

// A second table replaces the first.
int P_stsc(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    track->stsc = reinterpret_cast<unsigned int(*)[3]>(read_counted_table(file, 3, &track->stsc_count));
    return track->stsc ? kGoOn : kRefuse;
}

int P_stco(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (track->chunks) return refuse_extra("extra stco\n");
    skip(file, 4);  // version, flags
    const unsigned int count = read_u32(file);
    unsigned int read = 0;
    track->chunks = read_chunk_starts(file, count, &read);
    if (!track->chunks) return kRefuse;
    track->chunk_count = static_cast<int>(read);
    return kGoOn;
}

int P_stss(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (track->sync_count != 0) return refuse_extra("extra stss\n");
    track->sync_samples = read_counted_table(file, 1, &track->sync_count);
    return track->sync_samples ? kGoOn : kRefuse;
}
