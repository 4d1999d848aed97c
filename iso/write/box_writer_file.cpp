#include <cstring>

#include "formats/unity_matrix.h"
#include "iso/write/box_writer.h"
#include "iso/write/put_sequence.h"

using namespace qlip;

namespace {

constexpr unsigned int kInitialObjectDescriptorTag = 16;
constexpr unsigned int kTrackReferenceTag = 14;

bool names_mp42(const iso_file* file) {
    return std::strcmp(file->major_brand, "mp42") == 0 ||
           (file->compatible_brands && std::strstr(file->compatible_brands, "mp42"));
}

}  // namespace

int w_header(int pass, iso_file* file, unsigned char* dst, unsigned int media_length) {
    if (file->status_flags & ISO_STATUS_DIRECT) return w_moov(pass, file, dst);
    PutSequence header(pass, dst);
    header.child(w_ftyp, file).child(w_moov, file);
    header.u32(media_length + 8).id("mdat");
    return header.size();
}

int w_ftyp(int pass, iso_file* file, unsigned char* dst) {
    PutBox box(pass, dst, "ftyp");
    box.id(file->major_brand).u32(file->minor_version);
    char* brand = file->compatible_brands;
    while (brand && std::strlen(brand) >= 4) {
        box.id(brand);
        brand += 4;
        if (*brand == ' ') ++brand;
    }
    return box.finish();
}

int w_moov(int pass, iso_file* file, unsigned char* dst) {
    PutBox box(pass, dst, "moov");
    box.child(w_mvhd, file).child(w_iods, file);
    for (iso_track* track = file->tracks; track; track = track->next)
        box.child(w_trak, track);
    box.child<iso_file>(w_udta, file);
    return box.finish();
}

int w_mvhd(int pass, iso_file* file, unsigned char* dst) {
    PutBox box(pass, dst, "mvhd");
    box.u32s({0, file->creation_time, file->modification_time, file->timescale, file->duration});
    box.u32(0x10000).u16(256).u16(0).u32s({0, 0});
    for (const unsigned int word : qlip::kUnityMatrix)
        box.u32(word);
    box.u32s({0, 0, 0, 0, 0, 0}).u32(file->next_track_id);
    return box.finish();
}

int w_iods(int pass, iso_file* file, unsigned char* dst) {
    if (!names_mp42(file)) return 0;
    PutBox box(pass, dst, "iods");
    box.u32(0).u8(kInitialObjectDescriptorTag).length(file->next_track_id * 9 - 2);
    box.u16((file->od_id << 6) | 15);
    box.u8(file->od_profile).u8(file->scene_profile).u8(file->audio_profile);
    box.u8(file->visual_profile).u8(file->graphics_profile);
    for (iso_track* track = file->tracks; track; track = track->next) {
        box.u8(kTrackReferenceTag).length(4).u32(track->track_id);
    }
    return box.finish();
}

int w_udta(int pass, iso_file* file, unsigned char* dst) {
    if (!has_text(file->sdp)) return 0;
    return put_container<iso_file>(pass, file, dst, "udta", {w_hnti});
}

int w_hnti(int pass, iso_file* file, unsigned char* dst) {
    if (!has_text(file->sdp)) return 0;
    return put_container<iso_file>(pass, file, dst, "hnti", {w_sdp});
}

int w_sdp(int pass, iso_file* file, unsigned char* dst) {
    PutBox box(pass, dst, "rtp ");
    box.id("sdp ").text(file->sdp);
    return box.finish();
}
