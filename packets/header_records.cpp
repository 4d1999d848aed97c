// The writers of the file-level header and of the audio frame record.
#include <algorithm>
#include <cstring>
#include <span>

#include "common/byte_order.h"
#include "common/to_integer.h"
#include "formats/amr.h"
#include "formats/mpeg4_visual.h"
#include "formats/native_header.h"
#include "packets/audio_frame.h"
#include "qlip/isoff.h"
#include "qlip/native_stream.h"
#include "qlip/wld_native.h"

using namespace qlip;

namespace {

constexpr unsigned int kFiller = 0xCCCCCCCC;

// Bytes of the whole header of video.
constexpr unsigned int kMpeg4HeaderBytes = kVideoHeaderBytes + sizeof(VID_Header_MPEG4CodecConfig);
constexpr unsigned int kH263HeaderBytes = kVideoHeaderBytes + sizeof(VID_Header_H263CodecConfig);
constexpr unsigned int kH264HeaderBytes = kVideoHeaderBytes + sizeof(VID_Header_H264CodecConfig);

// `config_size` of VID_Header_CodecInfo. Neither fits H.263's record of 8 bytes nor H.264's of 368: kept
// for consumers, which go by the header size [config-size].
constexpr unsigned int kConfigSize = 356;
constexpr unsigned int kH264ConfigSize = 365;

// A caller may hand over a place in a byte buffer, so records are filled here and copied there.
template <class Record>
void put(Record* record, const Record& value) {
    std::memcpy(static_cast<void*>(record), &value, sizeof value);
}

void put_prop(PROP_Header_Info* record, const char (&type)[9], unsigned int header_size, int count) {
    PROP_Header_Info value{{}, header_size, kStreamVersion, 0, static_cast<unsigned int>(count)};
    std::copy_n(type, sizeof value.type, value.type);
    put(record, value);
}

void put_file_info(VID_FileInfo* record, double duration) {
    put(record, {to_u32(duration * 1000.0), {kFiller, kFiller, kFiller}});
}

template <size_t N>
void put_codec_info(VID_Header_CodecInfo* record, const char (&name)[N], int bit_rate, const iso_track* track,
                    unsigned int config_size) {
    VID_Header_CodecInfo value{
        {}, 0, static_cast<unsigned int>(bit_rate), track->width, track->height, config_size};
    static_assert(N <= sizeof value.name);
    std::copy_n(name, N, value.name);
    put(record, value);
}

std::span<const unsigned char> configuration(const iso_track* track) {
    if (!track->dsi) return {};
    return {track->dsi, static_cast<size_t>(std::max(track->dsi_size, 0))};
}

// Byte `index` of a configuration, 0 behind its end.
unsigned int byte_at(std::span<const unsigned char> config, size_t index) {
    return index < config.size() ? config[index] : 0;
}

void copy_shown_part(std::span<const unsigned char> config, unsigned char (&shown)[WLD_CONFIG_CAPACITY]) {
    std::copy_n(config.begin(), std::min(config.size(), sizeof shown), shown);
}

// The record of the next frame, behind which state and clock move on.
void put_next_frame(AUD_AudFrame_Native* record, int size, WLD_RTP& rtp, AudioFrameKind kind) {
    put_audio_frame(record, static_cast<unsigned int>(size), rtp.timestamp, rtp.sequence, kind);
    rtp.timestamp += kind.ticks;
    ++rtp.sequence;
}

}  // namespace

void wld_put_hdr_aud_prop(PROP_Header_Info* record, int frame_count) {
    put_prop(record, pType, kAudioHeaderBytes, frame_count);
}

void wld_put_hdr_vid_prop(PROP_Header_Info* record, int sample_count) {
    put_prop(record, pTypeVid, kMpeg4HeaderBytes, sample_count);
}

void wld_put_hdr_vid_prop263(PROP_Header_Info* record, int sample_count) {
    put_prop(record, pTypeVid, kH263HeaderBytes, sample_count);
}

void wld_put_hdr_vid_prop264(PROP_Header_Info* record, int sample_count) {
    put_prop(record, pTypeVid, kH264HeaderBytes, sample_count);
}

int wld_put_hdr_aud_codec(AUD_Codec_Header* record, iso_track*) {
    constexpr auto kHighestMode = static_cast<unsigned int>(kAmrBitRates.size()) - 1;
    put(record,
        {sizeof(AUD_Codec_Header), kFirstNarrowbandCoding + kHighestMode, kNarrowbandClock / kRateUnit, 8});
    return 0;
}

int wld_put_hdr_aud_codec_wb(AUD_Codec_Header* record, iso_track*) {
    put(record, {sizeof(AUD_Codec_Header), kWidebandCoding, kWidebandClock / kRateUnit, 16});
    return 0;
}

void wld_put_hdr_aud_index(AUD_Header_IndxInfo* record, int) {
    put(record, {});
}

void wld_put_hdr_aud_frame(AUD_AudFrame_Native* record, int size, wld_native* native) {
    put_next_frame(record, size, native->rtp, kNarrowbandFrame);
}

void wld_put_hdr_aud_frame_wb(AUD_AudFrame_Native* record, int size, wld_native* native) {
    put_next_frame(record, size, native->rtp, kWidebandFrame);
}

void wld_put_hdr_fileInfo(VID_FileInfo* record, double duration) {
    put_file_info(record, duration);
}

void wld_put_hdr_vid_fileInfo(VID_FileInfo* record, double duration) {
    put_file_info(record, duration);
}

void wld_put_hdr_vid_nts(VID_Header_NTSInfo* record) {
    put(record, {});
}

void wld_put_hdr_vid_index(VID_Header_IndxInfo* record) {
    put(record, {});
}

void wld_put_hdr_vid_codec(VID_Header_CodecInfo* record, int, int bit_rate, iso_track* track) {
    put_codec_info(record, "mp4v", bit_rate, track, kConfigSize);
}

void wld_put_hdr_vid_codec263(VID_Header_CodecInfo* record, int, int bit_rate, iso_track* track) {
    if (track->payload_type == WLD_TYPE_H263) {
        put_codec_info(record, "s263", bit_rate, track, kConfigSize);
    } else {
        put_codec_info(record, "s263+", bit_rate, track, kConfigSize);
    }
}

void wld_put_hdr_vid_codec264(VID_Header_CodecInfo* record, int, int bit_rate, iso_track* track) {
    put_codec_info(record, "s264", bit_rate, track, kH264ConfigSize);
}

void wld_put_hdr_vid_codecCfg(VID_Header_MPEG4CodecConfig* record, iso_track* track) {
    const auto config = configuration(track);
    VID_Header_MPEG4CodecConfig value{};
    value.profile_level = byte_at(config, kMpeg4ProfileAt);
    copy_shown_part(config, value.config);
    value.config_size = static_cast<unsigned short>(std::min(config.size(), sizeof value.config));
    put(record, value);
}

void wld_put_hdr_vid_codecCfg263(VID_Header_H263CodecConfig* record, iso_track* track) {
    put(record, {track->profile, track->level});
}

void wld_put_hdr_vid_codecCfg264(VID_Header_H264CodecConfig* record, iso_track* track) {
    constexpr size_t kShortConfig = 8;
    const auto config = configuration(track);
    VID_Header_H264CodecConfig value{};
    if (config.size() > kShortConfig) {
        value.config_byte5 = config[5];
        value.config_byte6 = config[6];
        value.config_byte7 = config[7];
    } else {
        // Only the words around it are set: kept for callers that filled it [short-avcc-word].
        std::memcpy(&value.config_byte6, reinterpret_cast<unsigned char*>(record) + 4, 4);
    }
    copy_shown_part(config, value.config);
    value.config_size = static_cast<unsigned short>(config.size());
    value.constant_two = 2;
    put(record, value);
}
