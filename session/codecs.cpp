#include "session/codecs.h"

#include <algorithm>
#include <iterator>

#include "host/open_mode.h"
#include "session/mpeg4_configuration.h"

namespace qlip {

namespace {

constexpr SessionCodec kCodecs[] = {
    {ISO_CODEC_SAMR, kModeAudio, mmfi_Read_AMRNB, nullptr},
    {ISO_CODEC_SAWB, kModeAudio, mmfi_Read_AMRWB, nullptr},
    {ISO_CODEC_MP4V, kModeVideo, mmfi_Read_MPEG4, reserve_configuration},
    {ISO_CODEC_S263, kModeVideo, mmfi_Read_H263, nullptr},
    {ISO_CODEC_AVC1, kModeVideo, mmfi_Read_H264, nullptr},
};

}  // namespace

const SessionCodec* find_codec(const iso_track* track) {
    const auto* row =
        std::find_if(std::begin(kCodecs), std::end(kCodecs),
                     [track](const SessionCodec& codec) { return codec.entry == track->codec; });
    return row != std::end(kCodecs) ? row : nullptr;
}

}  // namespace qlip
