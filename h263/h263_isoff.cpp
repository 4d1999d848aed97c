// A quick look at a picture's header, and the H.263 track of a file that is being written.
#include "qlip/h263_isoff.h"

#include <cstring>
#include <limits>

#include "common/to_integer.h"
#include "h263/start_code.h"
#include "iso/model/model.h"

using namespace qlip;

namespace {

constexpr int kHeaderBytes = 6;  // as many as the scan looks at, but for the picture type of OPPTYPE
constexpr int kExtendedPtype = 7;
constexpr int kFormatNotTold = -1;

bool is_picture_start(const unsigned char* at) {
    return at[0] == 0 && at[1] == 0 && ends_picture_code(at[2]);
}

void set_size(H263VCFG& config, int width, int height) {
    config.width = width;
    config.height = height;
}

// False for a format that is not accepted; the size is then left alone.
bool take_size(H263VCFG& config, int format) {
    switch (format) {
        case 1:
            set_size(config, 128, 96);
            return true;
        // Taken for QCIF, whatever the pictures before were: kept for writers of files
        // [config-knows-three-formats].
        case kFormatNotTold:
        case 2:
            set_size(config, 176, 144);
            return true;
        case 3:
            set_size(config, 352, 288);
            return true;
        default:
            return false;
    }
}

int take_ptype(H263VCFG& config, const unsigned char* at) {
    config.plusptype = 0;
    config.frame_type = at[4] >> 1 & 1;
    config.source_format = at[4] >> 2 & 7;
    return config.source_format;
}

// `left` bytes lie from `at` to the end of the data.
int take_plusptype(H263VCFG& config, const unsigned char* at, int left) {
    config.plusptype = 1;
    const bool has_opptype = (at[5] & 0x80) != 0;
    if (!has_opptype) {
        config.frame_type = at[5] >> 4 & 1;
        return kFormatNotTold;
    }
    config.source_format = at[5] >> 4 & 7;
    if (left >= kHeaderBytes + 2) config.frame_type = at[7] >> 2 & 1;
    return config.source_format;
}

// Whether the picture that starts at `at` can be used; fills `config` either way.
bool take_picture(H263VCFG& config, const unsigned char* at, int left) {
    config.tr = (at[2] & 3) * 64 + at[3] / 4;
    if ((at[4] >> 2 & 7) != kExtendedPtype) return take_size(config, take_ptype(config, at));
    if ((at[4] & 3) != 0) return false;  // UFEP above 1
    return take_size(config, take_plusptype(config, at, left));
}

unsigned int to_limit(double units) {
    constexpr unsigned int kMost = std::numeric_limits<unsigned int>::max();
    return units > double{kMost} ? kMost : to_u32(units);
}

}  // namespace

int h263_get_config(void* data, int size, H263VCFG* config) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    if (size < kHeaderBytes) return -1;
    for (int at = 0; at <= size - kHeaderBytes; ++at) {
        if (is_picture_start(bytes + at) && take_picture(*config, bytes + at, size - at)) return at;
    }
    return -1;
}

int h263_get_frame_type(void* data, int size) {
    H263VCFG config{};
    return h263_get_config(data, size, &config) == -1 ? -1 : config.frame_type;
}

iso_track* h263_isoFFtrack(iso_file* file, H263VCFG* config) {
    if (!config) return nullptr;
    iso_track* track = isoFFtrack(file);
    if (!track) return nullptr;
    file->visual_profile = 1;
    std::memcpy(track->vendor, "VXYZ", sizeof track->vendor);
    track->decoder_version = 0;
    track->level = static_cast<unsigned char>(config->level);
    track->profile = static_cast<unsigned char>(config->profile);
    std::memcpy(track->handler, "vide", sizeof track->handler);
    track->codec = ISO_CODEC_S263;
    track->timescale = static_cast<unsigned int>(config->timescale);
    track->default_delta = 1;
    track->width = static_cast<unsigned int>(config->width);
    track->height = static_cast<unsigned int>(config->height);
    track->h_resolution = 0x480000;  // 72 dpi
    track->v_resolution = 0x480000;
    track->depth = 24;
    file->header_bytes += kH263EntryBytes;
    track->duration_limit = to_limit(file->max_duration * track->timescale);
    return track;
}
