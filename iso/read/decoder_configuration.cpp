// Sample entries and the configuration boxes inside them (ISO/IEC 14496-12 8.5.2, 14496-15 5.2.4, 3GPP TS
// 26.244 6). Any configuration box may follow any entry.
#include <cstring>
#include <utility>

#include "common/byte_order.h"
#include "formats/nal.h"
#include "iso/model/arena.h"
#include "iso/read/box_handlers.h"
#include "iso/read/box_tables.h"
#include "iso/read/payload.h"
#include "iso/read/sample_entry.h"
#include "iso/read/stream_input.h"

using namespace qlip;

namespace {

constexpr int kAudioEntrySize = 28;
constexpr int kVideoEntrySize = 78;

int read_video_entry(iso_file* file, int size, iso_codec codec) {
    const int rest = P_video_info(file, size);
    file->current_track->codec = codec;
    return parse_entry_children(file, dec_spec_box, rest);
}

// Channels, sample size and rate of these say nothing that the codec does not.
int read_audio_entry(iso_file* file, int size, iso_codec codec) {
    skip(file, kAudioEntrySize);
    file->current_track->codec = codec;
    return parse_entry_children(file, dec_spec_box, size - kAudioEntrySize);
}

void keep_if_set(unsigned int* field, unsigned int value) {
    if (value != 0) *field = value;
}

// The parameter sets of an avcC payload, copied with a length prefix as wide as that of the stream's NAL
// units.
class ParameterSets {
  public:
    ParameterSets(iso_file* file, const unsigned char* avcc, int size, bool wide_prefix)
        : file_(file), avcc_(avcc), size_(size), padding_(wide_prefix ? 2 : 0) {}

    // Copies `*count` sets. False when a length points outside the box, or without memory; the count is then
    // that of the sets in front, which a writer may be handed.
    bool copy(int* count, unsigned char** sets, unsigned int* bytes) {
        *bytes = 0;
        if (*count < 1) return true;
        const int room = *count * 2 + (size_ > at_ ? size_ - at_ : 0);
        *sets = static_cast<unsigned char*>(isoFFmalloc(file_, room));
        const int wanted = std::exchange(*count, 0);
        if (!*sets) return false;
        while (*count < wanted && copy_one(*sets, bytes))
            ++*count;
        return *count == wanted;
    }

    // The byte at the cursor; 0 behind the end, so that a box cut short has no further sets.
    unsigned char next_byte() { return at_ < size_ ? avcc_[at_++] : static_cast<unsigned char>(0); }

  private:
    bool copy_one(unsigned char* sets, unsigned int* bytes) {
        if (size_ - at_ < 2) return false;
        const int length = load_be16(avcc_ + at_) + 2;
        if (length > size_ - at_) return false;
        *bytes += padding_;  // zero already
        std::memcpy(sets + *bytes, avcc_ + at_, static_cast<size_t>(length));
        *bytes += static_cast<unsigned int>(length);
        at_ += length;
        return true;
    }

    iso_file* file_;
    const unsigned char* avcc_;
    int size_;
    unsigned int padding_;
    int at_ = 6;
};

bool join_parameter_sets(iso_file* file, iso_track* track, unsigned int sps, unsigned int pps) {
    track->parameter_sets_size = sps + pps;
    track->parameter_sets = static_cast<unsigned char*>(isoFFmalloc(file, static_cast<int>(sps + pps)));
    if (!track->parameter_sets) return false;
    if (sps > 0) std::memcpy(track->parameter_sets, track->sps, sps);
    if (pps > 0) std::memcpy(track->parameter_sets + sps, track->pps, pps);
    return true;
}

}  // namespace

int P_video_info(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, 24);
    keep_if_set(&track->width, read_u16(file));
    keep_if_set(&track->height, read_u16(file));
    track->h_resolution = read_u32(file);
    track->v_resolution = read_u32(file);
    skip(file, 42);  // reserved, frame count, compressor name, depth, pre-defined
    return size - kVideoEntrySize;
}

int P_mp4v(iso_file* file, int size) {
    return read_video_entry(file, size, ISO_CODEC_MP4V);
}

int P_s263(iso_file* file, int size) {
    return read_video_entry(file, size, ISO_CODEC_S263);
}

int P_avc1(iso_file* file, int size) {
    return read_video_entry(file, size, ISO_CODEC_AVC1);
}

int P_mp4a(iso_file* file, int size) {
    file->current_track->flags &= ~ISO_TRACK_PREPEND_DSI;
    return read_audio_entry(file, size, ISO_CODEC_MP4A);
}

int P_samr(iso_file* file, int size) {
    iso_track* track = file->current_track;
    skip(file, 16);
    track->channel_count = read_u16(file);
    track->sample_bits = read_u16(file);
    skip(file, 8);
    track->codec = ISO_CODEC_SAMR;
    return parse_entry_children(file, dec_spec_box, size - kAudioEntrySize);
}

int P_sawb(iso_file* file, int size) {
    return read_audio_entry(file, size, ISO_CODEC_SAWB);
}

int P_sawp(iso_file* file, int size) {
    return read_audio_entry(file, size, ISO_CODEC_SAWP);
}

int P_damr(iso_file* file, int size) {
    iso_track* track = file->current_track;
    getID(file, track->vendor);
    track->decoder_version = read_u8(file);
    track->mode_set = static_cast<unsigned short>(getint16(file));
    track->mode_change_period = read_u8(file);
    track->frames_per_sample = read_u8(file);
    skip(file, size - 9);
    return kGoOn;
}

int P_dawp(iso_file* file, int size) {
    iso_track* track = file->current_track;
    getID(file, track->vendor);
    track->decoder_version = read_u8(file);
    skip(file, size - 5);
    return kGoOn;
}

int P_d263(iso_file* file, int size) {
    iso_track* track = file->current_track;
    getID(file, track->vendor);
    track->decoder_version = read_u8(file);
    track->level = read_u8(file);
    track->profile = read_u8(file);
    skip(file, size - 7);
    return kGoOn;
}

int P_avcC(iso_file* file, int size) {
    iso_track* track = file->current_track;
    auto* avcc = static_cast<unsigned char*>(claim(file, size, 8));  // the head is there, zero, in any case
    if (!avcc) return kRefuse;
    getbytes(file, avcc, size);
    track->dsi = avcc;
    track->dsi_size = size;
    track->profile = avcc[1];
    track->profile_compat = avcc[2];
    track->level = avcc[3];
    track->nal_length_size = (avcc[4] & qlip::kAvccLengthSizeMask) + 1;
    track->sps_count = avcc[qlip::kAvccSetsAt] & qlip::kAvccSetCountMask;
    ParameterSets sets(file, avcc, size, track->nal_length_size == 4);
    unsigned int sps_bytes = 0;
    unsigned int pps_bytes = 0;
    if (!sets.copy(&track->sps_count, &track->sps, &sps_bytes)) return kRefuse;
    track->pps_count = sets.next_byte() & kAvccSetCountMask;
    if (!sets.copy(&track->pps_count, &track->pps, &pps_bytes)) return kRefuse;
    return join_parameter_sets(file, track, sps_bytes, pps_bytes) ? kGoOn : kRefuse;
}
