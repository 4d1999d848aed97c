// The tables whose size follows from counts alone do not run their rows in the counting pass. The storing
// pass compares what it wrote with that size, reports a difference, and keeps what it wrote. The tables of an
// empty track have no rows.

#include "common/diagnostics.h"
#include "iso/write/box_writer.h"
#include "iso/write/put_sequence.h"

using namespace qlip;

namespace {

constexpr int kRowCountOffset = 12;  // in a table behind version and flags

using FrameField = unsigned int iso_data::*;

// Bytes of a table with `count` rows.
int table_size(int fixed, int row, int count) {
    return fixed + row * count;
}

// Rewrites the number of rows once it is known.
void store_row_count(int pass, unsigned char* box, unsigned int rows) {
    put32(pass, box + kRowCountOffset, rows);
}

// Rows of (frames, value) by runs of an equal value. Returns their number.
unsigned int put_runs(PutBox& box, const iso_data* frame, FrameField field) {
    unsigned int rows = 0;
    for (; frame; ++rows) {
        const unsigned int value = frame->*field;
        unsigned int run = 0;
        while (frame && frame->*field == value) {
            ++run;
            frame = frame->next;
        }
        box.u32s({run, value});
    }
    return rows;
}

// The time tables: a single run needs no look at the frames behind the first.
int put_time_table(int pass, const iso_track* track, unsigned char* dst, const char* type, int count,
                   FrameField field) {
    PutBox box(pass, dst, type);
    box.u32s({0, 1});
    if (count == 1) {
        box.u32(static_cast<unsigned int>(track->sample_count));
        box.u32(track->data_head ? track->data_head->*field : 0);
    } else {
        store_row_count(pass, dst, put_runs(box, track->data_head, field));
    }
    return box.finish();
}

}  // namespace

int w_stbl(int pass, iso_track* track, unsigned char* dst) {
    return put_container<iso_track>(pass, track, dst, "stbl",
                                    {w_stts, w_stsd, w_ctts, w_stsz, w_stsc, w_stco, w_stss, w_sbgp, w_sgpd});
}

int w_stts(int pass, iso_track* track, unsigned char* dst) {
    const int counted = table_size(16, 8, track->stts_count);
    if (pass == 0) return counted;
    const int written = put_time_table(pass, track, dst, "stts", track->stts_count, &iso_data::delta);
    if (written != counted) {
        myfprintf(stderr, "Pass1 1 %d Pass 2 %d --- dtd count %d\n", counted, written, track->stts_count);
    }
    return written;
}

int w_ctts(int pass, iso_track* track, unsigned char* dst) {
    if (track->ctts_count == 0) return 0;
    if (track->ctts_count == 1 && (!track->data_head || track->data_head->cto == 0)) return 0;
    const int counted = table_size(16, 8, track->ctts_count);
    if (pass == 0) return counted;
    const int written = put_time_table(pass, track, dst, "ctts", track->ctts_count, &iso_data::cto);
    if (written != counted) {
        myfprintf(stderr, "Pass1 1 %d Pass 2 %d --- cto count %d\n", counted, written, track->ctts_count);
    }
    return written;
}

int w_stsz(int pass, iso_track* track, unsigned char* dst) {
    const bool one_size = track->sample_size != 0;
    const int counted = one_size ? 20 : table_size(20, 4, track->sample_count);
    if (pass == 0) return counted;
    PutBox box(pass, dst, "stsz");
    box.u32s({0, track->sample_size, static_cast<unsigned int>(track->sample_count)});
    for (const iso_data* frame = one_size ? nullptr : track->data_head; frame; frame = frame->next)
        box.u32(static_cast<unsigned int>(frame->size));
    const int written = box.finish();
    if (written != counted) {
        myfprintf(stderr, "Pass1 1 %d Pass 2 %d --- sample size = %d sample count = %d\n", counted, written,
                  static_cast<int>(track->sample_size), track->sample_count);
    }
    return written;
}

int w_stsc(int pass, iso_track* /*track*/, unsigned char* dst) {
    PutBox box(pass, dst, "stsc");
    box.u32s({0, 1, 1, 1, 1});  // one row: from the first chunk on, one sample in each
    return box.finish();
}

int w_stco(int pass, iso_track* track, unsigned char* dst) {
    const int counted = table_size(16, 4, track->sample_count);
    if (pass == 0) return counted;
    PutBox box(pass, dst, "stco");
    box.u32s({0, static_cast<unsigned int>(track->sample_count)});
    for (const iso_data* frame = track->data_head; frame; frame = frame->next)
        box.u32(frame->offset);
    const int written = box.finish();
    if (written != counted) {
        myfprintf(stderr, "Pass1 1 %d Pass 2 %d --- sample count = %d\n", counted, written,
                  track->sample_count);
    }
    return written;
}

int w_stss(int pass, iso_track* track, unsigned char* dst) {
    if (track->sync_count == 0) return 0;
    PutBox box(pass, dst, "stss");
    box.u32s({0, static_cast<unsigned int>(track->sync_count)});
    for (const iso_sync_sample* sync = track->sync_list; sync; sync = sync->next)
        box.u32(sync->number);
    return box.finish();
}

int w_sbgp(int pass, iso_track* track, unsigned char* dst) {
    if (!track->sbgp) return 0;
    const int counted = table_size(20, 8, track->sbgp_count == 0 ? 1 : track->sbgp_count);
    if (pass == 0) return counted;
    PutBox box(pass, dst, "sbgp");
    box.u32(0).id(track->grouping_type).u32(static_cast<unsigned int>(track->sbgp_count));
    for (const iso_group_run* run = track->sbgp; run; run = run->next) {
        box.u32s({static_cast<unsigned int>(run->sample_count), static_cast<unsigned int>(run->group_index)});
    }
    const int written = box.finish();
    if (written != counted) {
        myfprintf(stderr, "Pass1 1 %d Pass 2 %d --- sbgp count %d\n", counted, written, track->sbgp_count);
    }
    return written;
}

int w_sgpd(int pass, iso_track* track, unsigned char* dst) {
    if (!track->sgpd) return 0;
    PutBox box(pass, dst, "sgpd");
    box.u32(0).id(track->grouping_type).u32(static_cast<unsigned int>(track->sgpd_count));
    for (const iso_group_entry* entry = track->sgpd; entry; entry = entry->next) {
        box.u16(static_cast<unsigned int>(entry->record_count));
        for (int i = 0; i < entry->record_count; ++i) {
            const unsigned int* record = entry->records[i];
            box.u32s({record[0], record[1], record[2], record[3], record[4]});
        }
    }
    return box.finish();
}

namespace qlip {

int uncounted_bytes(const iso_track* track) {
    int rows = 0;
    for (const iso_group_run* run = track->sbgp; run; run = run->next)
        ++rows;
    const int beyond = rows - (track->sbgp_count == 0 ? 1 : track->sbgp_count);
    return beyond > 0 ? 8 * beyond : 0;
}

}  // namespace qlip
