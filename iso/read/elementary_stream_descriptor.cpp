// The esds box (ISO/IEC 14496-1 7.2.6): nested descriptors of a tag, an expandable length and a body.
#include <algorithm>

#include "common/diagnostics.h"
#include "formats/mpeg4_descriptors.h"
#include "formats/mpeg4_visual.h"
#include "iso/read/box_handlers.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

struct Descriptor {
    int tag = 0;
    int length = 0;
};

// Reads the head of a descriptor and takes all of it off *size. False when it does not fit.
bool read_descriptor(iso_file* file, int* size, Descriptor* out) {
    out->tag = getbyte(file);
    const int length_bytes = getxlen(file, &out->length);
    if (length_bytes < 0 || out->length < 0) return false;
    const long long left = *size - 1LL - length_bytes - out->length;
    if (left < 0) return false;
    *size = static_cast<int>(left);
    return true;
}

int read_specific_info(iso_file* file, iso_track* track, int length) {
    unsigned char* dsi = read_block(file, length);
    if (!dsi) return kRefuse;
    track->dsi = dsi;
    track->dsi_size = length;
    const auto level = mpeg4_profile_level({dsi, static_cast<size_t>(length)});
    track->level = static_cast<unsigned char>(level);
    return kGoOn;
}

int read_decoder_config(iso_file* file, iso_track* track, int size) {
    track->object_type = read_u8(file);
    track->stream_type = read_u8(file) >> 2;
    track->buffer_size_db = static_cast<unsigned int>(getint24(file));
    track->max_bitrate = read_u32(file);
    track->avg_bitrate = read_u32(file);
    for (size -= 13; size > 0;) {
        Descriptor child;
        if (!read_descriptor(file, &size, &child)) return kRefuse;
        if (child.tag != kDecoderSpecificInfo) {
            skip(file, child.length);
        } else if (read_specific_info(file, track, child.length) != 0) {
            return kRefuse;
        }
    }
    return kGoOn;
}

}  // namespace

// The flags of the ES descriptor are not looked at, so optional fields behind them read as descriptors: kept
// for hosts, which see the tracks of such files as ever [engine-misread-boxes].
int r_ES_Desc(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, 3);  // ES_ID, flags
    for (size -= 3; size > 0;) {
        Descriptor child;
        if (!read_descriptor(file, &size, &child)) return kRefuse;
        if (child.tag != kDecoderConfig) {
            skip(file, child.length);
        } else if (read_decoder_config(file, track, child.length) < 0) {
            return kRefuse;
        }
    }
    return kGoOn;
}

int P_esds(iso_file* file, int size) {
    if (!may_claim(file, std::max(size, 0))) return kRefuse;
    skip(file, 4);  // version, flags
    for (size -= 4; size >= 1;) {
        Descriptor child;
        if (!read_descriptor(file, &size, &child)) return kRefuse;
        if (child.tag != kEsDescriptor) {
            myfprintf(stderr, "esds: skipping tag %d\n", child.tag);
            skip(file, child.length);
        } else if (r_ES_Desc(file, child.length) < 0) {
            return kRefuse;
        }
    }
    return kGoOn;
}
