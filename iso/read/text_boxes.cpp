// Texts and bodies that stay as the file has them.
#include <cstring>

#include "common/diagnostics.h"
#include "iso/read/box_handlers.h"
#include "iso/read/payload.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr const char* kExtraSdp = "extra sdp\n";

// Stores the next `size` bytes, terminated, in *text, which must be unset.
int keep_sdp(iso_file* file, char** text, int size) {
    if (*text) {
        myfprintf(stderr, kExtraSdp);
        return kRefuse;
    }
    *text = reinterpret_cast<char*>(read_block(file, size));
    return *text ? kGoOn : kRefuse;
}

}  // namespace

int P_xml(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, 4);  // version, flags
    unsigned char* xml = read_block(file, size - 4);
    if (!xml) return kRefuse;
    track->xml = xml;
    track->xml_size = size - 4;
    return kGoOn;
}

int P_tsel(iso_file* file, int size) {
    iso_track* track = file->current_track;
    if (!track || track->tsel_attributes) {
        myfprintf(stderr, "extra/misplaced tsel\n");
        return kRefuse;
    }
    skip(file, 4);  // version, flags
    track->tsel_group = read_u32(file);
    track->tsel_attributes = reinterpret_cast<char*>(read_block(file, size - 8));
    return track->tsel_attributes ? kGoOn : kRefuse;
}

// A text that belongs to no track is passed over.
int P_sdp(iso_file* file, int size) {
    iso_track* track = file->current_track;
    if (track) return keep_sdp(file, &track->sdp, size);
    skip(file, size);
    return kGoOn;
}

int P_hnti_rtp(iso_file* file, int size) {
    char format[5] = {};
    getID(file, format);
    size -= 4;
    if (std::strcmp(format, "sdp ") == 0) return keep_sdp(file, &file->sdp, size);
    skip(file, size);
    return kGoOn;
}
