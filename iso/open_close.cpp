// Records from their making to their release. What opening reads and closing writes is the business of the
// rooms below.
#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>

#include "formats/unity_matrix.h"
#include "iso/model/arena.h"
#include "iso/model/model.h"
#include "iso/model/open_file.h"
#include "iso/open.h"
#include "iso/read/walk.h"
#include "iso/write/write_file.h"
#include "qlip/isoff.h"

using namespace qlip;

namespace {

// Holds the tables of a film of a few minutes.
constexpr int kFirstChunkOfStream = 16 * 1024;
// One day short of the distance between 1904 and 1970: kept for hosts that take it off again
// [epoch-a-day-early].
constexpr long long kEpochOffset = 2082758400;

void start_file(iso_file* file, bool writing) {
    file->magic = kIsoFileMagic;
    file->od_id = 1;
    file->od_profile = file->scene_profile = file->visual_profile = 255;
    file->graphics_profile = file->audio_profile = 255;
    file->next_track_id = 1;
    file->timescale = 600;
    file->direct_index = 1;
    file->minor_version = 0xFFFFFFFF;
    file->from_open = 1;
    if (!writing) return;
    file->writing = 1;
    file->header_bytes = 194;
    file->max_file_size = 0x7fffffff;
    file->max_duration = 7158278.0;
    file->interleave_period = 1.0;
    file->creation_time = file->modification_time =
        static_cast<unsigned int>(std::time(nullptr) + kEpochOffset);
}

bool set_written_brands(iso_file* file) {
    constexpr char kCompatible[] = "3gp5 3gp4";
    std::memcpy(file->major_brand, "3gp6", 5);
    file->minor_version = 256;
    file->compatible_brands = static_cast<char*>(isoFFmalloc(file, sizeof kCompatible));
    if (!file->compatible_brands) return false;
    std::memcpy(file->compatible_brands, kCompatible, sizeof kCompatible);
    return true;
}

void release(iso_file* file) {
    safefree(reinterpret_cast<char*>(file->arena_head));
    systemfree(file);
}

// The parse's own result is of no interest: a file that was read in part is used as far as it goes. One that
// passes limits is not.
void read_structure(OpenFile& file) {
    const LimitedCall call(file.limits);
    const LineScope lines(file.limits ? LineBook::current() : &file.lines);
    read_header(&file);
    if (file.limits && file.limits->was_passed()) throw OverBudget();
}

iso_file* fail(int* err, int code) {
    if (err) *err = code;
    return nullptr;
}

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
    std::copy(std::begin(qlip::kUnityMatrix), std::end(qlip::kUnityMatrix), std::begin(track->matrix));
    file->header_bytes += kTrackHeaderBytes;
    track->duration_limit = 0xFFFFFFFF;
}

template <typename Node>
void count_list(const Node* node) {
    int blocks = 0;
    for (; node; node = node->next)
        ++blocks;
    if (blocks != 0) count_freed_blocks(blocks);
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

iso_file* open_record(HostIo*& io, bool writing, int first_chunk, int* err) {
    void* memory = systemmalloc(nullptr, sizeof(OpenFile));
    if (!memory) return fail(err, -2);
    OpenFile* file = new (memory) OpenFile{};
    file->io = io;
    file->limits = LimitedCallbacks::of(io);
    file->next_chunk = first_chunk;
    start_file(file, writing);
    if (file->writing && !set_written_brands(file)) {
        release(file);
        return fail(err, -2);
    }
    try {
        read_structure(*file);
    } catch (const OverBudget&) {
        isoFFclose(file);
        return fail(err, ISOFF_OVER_LIMIT);
    } catch (...) {  // out of a callback
        isoFFclose(file);
        throw;
    }
    return file;
}

iso_file* open_limited(HostIo* io, const qlip_limits* limits, int first_chunk, int* err) {
    qlip_limits taken;
    if (!complete(io) || !take_limits(limits, &taken)) return fail(err, -1);
    auto limited = std::unique_ptr<LimitedCallbacks>(new (std::nothrow) LimitedCallbacks(io, taken));
    if (!limited) return fail(err, -2);
    HostIo* record = limited.get();
    iso_file* file = open_record(record, false, first_chunk, err);
    if (file) open_file(file)->owns_limits = limited.release() != nullptr;
    return file;
}

}  // namespace

iso_file* isoFFopen(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, char* mode, int* err) {
    const char direction = mode ? mode[0] : '\0';
    if (direction != 'r' && direction != 'w') return fail(err, -1);
    return open_record(io, direction == 'w', 0, err);
}

iso_file* qlip::open_for_stream(HostIo*& io) {
    return open_record(io, false, kFirstChunkOfStream, nullptr);
}

iso_file* qlip::open_for_stream(HostIo*& io, const qlip_limits* limits, int* err) {
    return open_limited(io, limits, kFirstChunkOfStream, err);
}

iso_file* isoFFopenLimited(_TAG_QLIP_IOSTREAM_CALLBACK_INTERFACE*& io, char* mode, int* err,
                           const qlip_limits* limits) {
    if (!mode || mode[0] != 'r') return fail(err, -1);
    return open_limited(io, limits, 0, err);
}

iso_track* isoFFtrack(iso_file* file) {
    if (!file) return nullptr;
    auto* track = arena_new<iso_track>(file);
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
    const OpenFile* own = open_file(file);
    const std::unique_ptr<LimitedCallbacks> limits(own && own->owns_limits ? own->limits : nullptr);
    systemfree(file);
    return 0;
}
