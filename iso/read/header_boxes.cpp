// Headers of the movie, of a track and of its media (ISO/IEC 14496-12 clause 8). A box that belongs to a
// track and comes before any tkhd has nowhere to go: -1.
#include "iso/read/box_handlers.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

namespace {

constexpr int kInitialObjectDescriptor = 16;  // tag, ISO/IEC 14496-1

unsigned int u32(iso_file* file) {
    return static_cast<unsigned int>(getint32(file));
}

unsigned int u16(iso_file* file) {
    return static_cast<unsigned int>(getint16(file));
}

int version_of(iso_file* file) {
    const int version = getbyte(file);
    skip(file, 3);  // flags
    return version;
}

// The four fields that mvhd and mdhd share. Version 1 stores 64-bit times, which are passed over.
template <typename Record>
void read_times(iso_file* file, Record* record) {
    if (version_of(file) == 1) {
        skip(file, 28);
        return;
    }
    record->creation_time = u32(file);
    record->modification_time = u32(file);
    record->timescale = u32(file);
    record->duration = u32(file);
}

void read_profiles(iso_file* file) {
    file->od_id = u16(file) >> 6;
    file->od_profile = static_cast<unsigned int>(getbyte(file));
    file->scene_profile = static_cast<unsigned int>(getbyte(file));
    file->audio_profile = static_cast<unsigned int>(getbyte(file));
    file->visual_profile = static_cast<unsigned int>(getbyte(file));
    file->graphics_profile = static_cast<unsigned int>(getbyte(file));
}

}  // namespace

int P_mvhd(iso_file* file, int /*size*/) {
    read_times(file, file);
    getint32(file);  // rate
    getint16(file);  // volume
    skip(file, 70);  // reserved, matrix, pre-defined
    file->next_track_id = u32(file);
    return 0;
}

int P_iods(iso_file* file, int size) {
    if (size > 12) {
        getint32(file);  // version, flags
        const int tag = getbyte(file);
        size -= 5;
        if (tag == kInitialObjectDescriptor) {
            int length = 0;
            const int length_bytes = getxlen(file, &length);
            if (length_bytes > 0) size -= length_bytes;
            if (length > 6) {
                read_profiles(file);
                size -= 7;
            }
        }
    }
    skip(file, size);
    return 0;
}

int P_tkhd(iso_file* file, int /*size*/) {
    const int version = version_of(file);
    iso_track* track = isoFFtrack(file);
    if (!track) return -1;
    file->current_track = track;
    if (version == 1) {
        skip(file, 32);
    } else {
        track->creation_time = u32(file);
        track->modification_time = u32(file);
        track->track_id = u32(file);
        skip(file, 4);
        getint32(file);  // duration, movie units
    }
    getint32(file);  // reserved
    getint32(file);
    track->codec = ISO_CODEC_NONE;
    track->layer = u16(file);
    track->alternate_group = u16(file);
    track->volume = u16(file);
    getint16(file);  // reserved
    for (unsigned int& word : track->matrix)
        word = u32(file);
    track->width = u32(file) >> 16;
    track->height = u32(file) >> 16;
    return 0;
}

int P_mdhd(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (!track) return -1;
    read_times(file, track);
    skip(file, 4);  // language
    return 0;
}

int P_hdlr(iso_file* file, int size) {
    iso_track* track = file->current_track;
    if (!track) return -1;
    skip(file, 8);  // version, flags, pre-defined
    getID(file, track->handler);
    skip(file, size - 12);
    return 0;
}

// An edit list that there is no memory for is left out; nobody reads it to play a file.
int P_elst(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (!track) return -1;
    const int version = version_of(file);
    const unsigned int count = u32(file);
    const unsigned int row_size = version == 1 ? 20 : 12;
    track->edit_count = 0;
    track->edits = nullptr;
    if (!qlip::may_claim(file, 1LL * row_size * count) || count > 0x7FFFFFFF / 12) return 0;
    track->edits = static_cast<unsigned int(*)[3]>(isoFFmalloc(file, static_cast<int>(12 * count)));
    if (!track->edits) return 0;
    track->edit_count = static_cast<int>(count);
    for (unsigned int i = 0; i < count; ++i) {
        unsigned int* row = track->edits[i];
        if (version == 1) {
            skip(file, 16);
        } else {
            row[0] = u32(file);
            row[1] = u32(file);
        }
        row[2] = u32(file);
    }
    return 0;
}

// A longer box names more tracks; they are read as the next box, as they always were.
int P_hint(iso_file* file, int /*size*/) {
    iso_track* track = file->current_track;
    if (!track) return -1;
    track->hint_ref_track = u32(file);
    return 0;
}
