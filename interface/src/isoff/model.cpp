// Records from their making to their release, and the choices among them: tracks and brands.
#include "interface/src/isoff/model.h"

#include <algorithm>
#include <cstring>

#include "interface/src/isoff/arena.h"
#include "interface/src/isoff/unity_matrix.h"
#include "interface/src/isoff/write_file.h"
#include "qlip/SimpleException.h"

namespace {

constexpr unsigned int kTrackHeaderBytes = 325;  // what a track adds to the header of a written file
constexpr size_t kBrandLength = 4;

void append(iso_file* file, iso_track* track) {
    // A parse adds behind the track it filled last, so that many tracks cost no walk each.
    iso_track* last = file->current_track ? file->current_track : file->tracks;
    if (!last) {
        file->tracks = track;
        return;
    }
    while (last->next)
        last = last->next;
    last->next = track;
}

void start_writing(iso_file* file, iso_track* track) {
    track->track_id = file->next_track_id++;
    track->creation_time = file->creation_time;
    track->modification_time = file->modification_time;
    std::copy(std::begin(unity_matrix), std::end(unity_matrix), std::begin(track->matrix));
    file->header_bytes += kTrackHeaderBytes;
    track->duration_limit = 0xFFFFFFFF;
}

void count_free(void* block) {
    if (block) isoFFfree(block);
}

template <typename Node>
void count_list(Node* node) {
    for (; node; node = node->next)
        isoFFfree(node);
}

// Arena blocks stay where they are; this keeps malloccount and freecount in step.
void count_blocks_of(iso_track* track) {
    count_list(track->data_head);
    count_list(track->pending_head);
    for (void* block :
         {static_cast<void*>(track->edits), static_cast<void*>(track->chunks),
          static_cast<void*>(track->sample_sizes), static_cast<void*>(track->stsc),
          static_cast<void*>(track->stts), static_cast<void*>(track->ctts), static_cast<void*>(track->hint),
          static_cast<void*>(track->dsi), static_cast<void*>(track->sps), static_cast<void*>(track->pps),
          static_cast<void*>(track->parameter_sets), static_cast<void*>(track->sync_samples)})
        count_free(block);
    count_list(track->sync_list);
    count_list(track->sgpd);
    count_list(track->sbgp);
    for (void* block : {static_cast<void*>(track->scheme_url), static_cast<void*>(track->schi),
                        static_cast<void*>(track->sdp), static_cast<void*>(track->xml),
                        static_cast<void*>(track->tsel_attributes), static_cast<void*>(track->location)})
        count_free(block);
    isoFFfree(track);
}

bool same_brand(const char* one, const char* other) {
    return std::strncmp(one, other, kBrandLength) == 0;
}

bool is_compatible(const iso_file* file, const char* brand) {
    if (same_brand(file->major_brand, brand)) return true;
    if (!file->compatible_brands) return false;
    char wanted[kBrandLength + 1] = {};
    std::memcpy(wanted, brand, kBrandLength);
    return std::strstr(file->compatible_brands, wanted) != nullptr;
}

}  // namespace

iso_track* isoFFtrack(iso_file* file) {
    if (!file) return nullptr;
    auto* track = qlip::arena_new<iso_track>(file);
    if (!track) return nullptr;
    track->file = file;
    track->magic = kIsoTrackMagic;
    track->flags = ISO_TRACK_PREPEND_DSI;
    append(file, track);
    if (file->writing) start_writing(file, track);
    return track;
}

int isoFFclose(iso_file* file) {
    if (!file) return -1;
    if (file->writing) write_file(file);
    if (file->aux_stream) std::fclose(file->aux_stream);
    for (iso_track* track = file->tracks; track; track = track->next) {
        count_blocks_of(track);
        if (track->spill_file) std::fclose(track->spill_file);
    }
    count_free(file->compatible_brands);
    count_free(file->sdp);
    safefree(reinterpret_cast<char*>(file->arena_head));
    systemfree(file);
    return 0;
}

iso_track* isoFFselect(iso_file* file, char* handler, int n) {
    if (!file || file->writing) return nullptr;
    int count = 0;
    for (iso_track* track = file->tracks; track; track = track->next) {
        if (handler && std::strcmp(track->handler, handler) != 0) continue;
        if (++count == n) return track;
    }
    return nullptr;
}

int isoFFcompatible(iso_file* file, char* brands) {
    if (!file || !brands) return -1;
    for (const char* brand = brands; std::strlen(brand) >= kBrandLength;) {
        if (is_compatible(file, brand)) return 0;
        brand += kBrandLength;
        if (*brand == ' ') ++brand;
    }
    return -1;
}

int isoFFsetBrand(iso_file* file, char* brands, int minor) {
    if (!file || !brands) return -1;
    const size_t length = std::strlen(brands) + 1;
    if (length % (kBrandLength + 1) != 0 || length > 0x7FFFFFFF) return -1;
    std::memcpy(file->major_brand, brands, kBrandLength);
    file->major_brand[kBrandLength] = '\0';
    file->minor_version = static_cast<unsigned int>(minor);
    count_free(file->compatible_brands);
    file->compatible_brands = static_cast<char*>(isoFFmalloc(file, static_cast<int>(length)));
    if (!file->compatible_brands) return -1;
    std::memcpy(file->compatible_brands, brands, length);
    return 0;
}
