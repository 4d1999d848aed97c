// Sample groups (ISO/IEC 14496-12 8.9): carried over to the writer, never looked into.
#include <cstring>

#include "common/diagnostics.h"
#include "iso/model/arena.h"
#include "iso/read/box_handlers.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr unsigned int kColumns = 5;
constexpr int kRecordSize = 4 * kColumns;

bool is_known(const char* grouping_type) {
    return std::strcmp(grouping_type, "3gag") == 0 || std::strcmp(grouping_type, "avcb") == 0;
}

// One entry: its records lie behind its node in the same block.
iso_group_entry* read_entry(iso_file* file) {
    const int records = getint16(file);
    if (records < 0 || !may_claim(file, 1LL * records * kRecordSize)) return nullptr;
    auto* entry = static_cast<iso_group_entry*>(
        isoFFmalloc(file, records * kRecordSize + static_cast<int>(sizeof(iso_group_entry))));
    if (!entry) return nullptr;
    entry->record_count = records;
    entry->records = reinterpret_cast<unsigned int(*)[kColumns]>(entry + 1);
    read_words(file, entry->records[0], 1LL * records * kColumns);
    return entry;
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
    if (!may_claim(file, 2LL * count)) return kRefuse;
    track->sgpd_count = static_cast<int>(count);
    iso_group_entry** link = &track->sgpd;
    for (unsigned int i = 0; i < count; ++i) {
        iso_group_entry* entry = read_entry(file);
        if (!entry) return kRefuse;
        *link = entry;
        link = &entry->next;
    }
    return kGoOn;
}
