// The rows of the three video codecs.
#include <cstring>

#include "session/h264_parameter_sets.h"
#include "session/mpeg4_configuration.h"
#include "session/video_reader.h"

using namespace qlip;

namespace {

template <typename Record, void (*put)(Record*, iso_track*)>
unsigned int put_config(unsigned char* to, iso_track* track) {
    Record record{};
    put(&record, track);
    std::memcpy(to, &record, sizeof record);
    return sizeof record;
}

constexpr VideoCodec kH263 = {
    .payload_type = WLD_TYPE_H263,
    .rfc_mode = WLD_RFC_2429,
    .cut = cut_video,
    .put_prop = wld_put_hdr_vid_prop263,
    .put_codec = wld_put_hdr_vid_codec263,
    .put_config = put_config<VID_Header_H263CodecConfig, wld_put_hdr_vid_codecCfg263>,
    .config_from_hint = true,
    .header_awaits_packet = true,
    .keeps_failure = true,
    .first_frame = {.failed = QLIP_FAILURE, .waits_for_nobody = false},
    .before_first_packet = nullptr,
    .before_cutting = nullptr,
    .before_conversion = nullptr,
};

constexpr VideoCodec kMpeg4 = {
    .payload_type = WLD_TYPE_MPEG4,
    .rfc_mode = WLD_RFC_NONE,
    .cut = cut_video,
    .put_prop = wld_put_hdr_vid_prop,
    .put_codec = wld_put_hdr_vid_codec,
    .put_config = put_config<VID_Header_MPEG4CodecConfig, wld_put_hdr_vid_codecCfg>,
    .config_from_hint = false,
    .header_awaits_packet = false,
    .keeps_failure = false,
    .first_frame = {.failed = QLIP_END_OF_FILE, .waits_for_nobody = true},
    .before_first_packet = nullptr,
    .before_cutting = configure_sample,
    .before_conversion = configure_packet,
};

constexpr VideoCodec kH264 = {
    .payload_type = WLD_TYPE_H264,
    .rfc_mode = WLD_RFC_NONE,
    .cut = cut_h264,
    .put_prop = wld_put_hdr_vid_prop264,
    .put_codec = wld_put_hdr_vid_codec264,
    .put_config = put_config<VID_Header_H264CodecConfig, wld_put_hdr_vid_codecCfg264>,
    .config_from_hint = false,
    .header_awaits_packet = false,
    .keeps_failure = false,
    .first_frame = {.failed = QLIP_FAILURE, .waits_for_nobody = false},
    .before_first_packet = open_with_parameter_sets,
    .before_cutting = nullptr,
    .before_conversion = precede_idr_packet,
};

}  // namespace

int mmfi_Read_H263(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept {
    return read_video(*session, buffer, size, indexed, kH263);
}

int mmfi_Read_MPEG4(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept {
    return read_video(*session, buffer, size, indexed, kMpeg4);
}

int mmfi_Read_H264(mm_Interface* session, unsigned char* buffer, unsigned int* size, bool indexed) noexcept {
    return read_video(*session, buffer, size, indexed, kH264);
}
