// Sample groups (ISO/IEC 14496-12 8.9): carried over to the writer, never looked into.
#include <climits>
#include <cstdint>
#include <cstring>

#include "common/byte_order.h"
#include "common/diagnostics.h"
#include "iso/model/arena.h"
#include "iso/read/box_handlers.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr unsigned int kColumns = 5;
constexpr int kRecordSize = 4 * kColumns;
// With no more of them than this, beyond as many as there are records, memory stays below twice the box. A
// box with more is left out.
constexpr int kMostEmptyEntries = 64;

bool is_known(const char* grouping_type) {
    return std::strcmp(grouping_type, "3gag") == 0 || std::strcmp(grouping_type, "avcb") == 0;
}

// The records of as many entries as there are in the buffer.
int64_t count_records(const iso_file* file, unsigned int entries) {
    int64_t records = 0;
    const unsigned char* at = file->buffer_next;
    for (int64_t left = file->in_buffer ? file->buffer_left : 0; entries > 0 && left >= 2; --entries) {
        const int count = load_be16(at);
        const int64_t bytes = 2 + int64_t{count} * kRecordSize;
        records += count;
        if (bytes > left) break;
        at += bytes;
        left -= bytes;
    }
    return records;
}

// All entries lie in one block, the nodes and behind them the records.
int read_entries(iso_file* file, iso_group_entry* entries, unsigned int count, int64_t records) {
    auto* next_record = reinterpret_cast<unsigned int(*)[kColumns]>(entries + count);
    iso_group_entry** link = &file->current_track->sgpd;
    for (unsigned int i = 0; i < count; ++i) {
        iso_group_entry& entry = entries[i];
        *link = &entry;
        link = &entry.next;
        if (i > 0) count_block();  // each is given back by itself
        const int read = getint16(file);
        if (read < 0 || read > records) return kRefuse;
        entry.record_count = read;
        entry.records = next_record;
        read_words(file, next_record[0], 1LL * read * kColumns);
        next_record += read;
        records -= read;
    }
    return kGoOn;
}

static_assert(sizeof(iso_group_entry) == 24);

}  // namespace

int P_sbgp(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (track->sbgp) {
        myfprintf(stderr, "extra sbgp\n");
        return kRefuse;
    }
    skip(file, 4);  // version, flags
    skip(file, 4);  // grouping type: that of sgpd counts
    const auto count = read_u32(file);
    if (!may_claim(file, 8LL * count)) return kRefuse;
    track->sbgp_count = static_cast<int>(count);
    iso_group_run** link = &track->sbgp;
    for (unsigned int i = 0; i < count; ++i) {
        auto* run = arena_new<iso_group_run>(file);
        if (!run) return kRefuse;
        run->sample_count = getint32(file);
        run->group_index = getint32(file);
        *link = run;
        link = &run->next;
    }
    return kGoOn;
}

int P_sgpd(iso_file* file, int size) {
    iso_track* track = file->current_track;
    if (track->sgpd) {
        myfprintf(stderr, "extra sgpd\n");
        return kRefuse;
    }
    skip(file, 4);  // version, flags
    getID(file, track->grouping_type);
    if (!is_known(track->grouping_type)) {
        myfprintf(stderr, "skipping unknown grouping type: %s\n", track->grouping_type);
        skip(file, size - 8);
        return kGoOn;
    }
    const auto count = read_u32(file);
    const int64_t records = count_records(file, count);
    if (!may_claim(file, 2LL * count + records * kRecordSize)) return kRefuse;
    if (count == 0 || count > records + kMostEmptyEntries) {
        skip(file, size - 12);
        return kGoOn;
    }
    const int64_t bytes = int64_t{sizeof(iso_group_entry)} * count + records * kRecordSize;
    auto* entries = bytes <= INT_MAX ? isoFFmalloc(file, static_cast<int>(bytes)) : nullptr;
    if (!entries) return kRefuse;
    track->sgpd_count = static_cast<int>(count);
    return read_entries(file, static_cast<iso_group_entry*>(entries), count, records);
}
