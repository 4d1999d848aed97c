#include "kit/description.h"

#include "formats/mpeg4_visual.h"
#include "formats/rtp.h"
#include "kit/avc_configuration.h"
#include "kit/movie.h"
#include "kit/track_times.h"
#include "qlip/wld_native.h"

namespace qlip::kit {
namespace {

// RFC 3551 6 fixes that of H.263 by RFC 2190; the others are dynamic, those of the native stream where it has
// one.
enum UsualType : unsigned int {
    kAmr = 97,
    kAmrWideband = 98,
    kH263 = WLD_TYPE_H263,
    kH263Plus = 96,
    kMpeg4 = WLD_TYPE_MPEG4,
    kH264 = WLD_TYPE_H264,
};

std::string hex(ByteSpan bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

// RFC 4648 4.
std::string base64(ByteSpan bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const ByteSpan group = bytes.subspan(at, std::min<size_t>(3, bytes.size() - at));
        unsigned int bits = 0;
        for (size_t i = 0; i < 3; ++i)
            bits = bits << 8 | (i < group.size() ? group[i] : 0U);
        for (size_t i = 0; i < 4; ++i)
            text += i <= group.size() ? kDigits[bits >> (18 - 6 * i) & 63U] : '=';
    }
    return text;
}

// RFC 6184 8.1.
PayloadFormat h264_format(const iso_track* track) {
    PayloadFormat format = {"H264", kH264, kVideoClock, {{"packetization-mode", "1"}}};
    const ByteSpan avcc = configuration_of(track);
    if (avcc.size() < 4) return format;
    format.parameters.emplace_back("profile-level-id", hex(avcc.subspan(1, 3)));
    std::string sets;
    for (const ByteSpan set : parameter_sets_of(avcc)) {
        if (!sets.empty()) sets += ',';
        sets += base64(set);
    }
    if (!sets.empty()) format.parameters.emplace_back("sprop-parameter-sets", sets);
    return format;
}

// RFC 6416 7.1. The level stands behind the start code of the visual object sequence.
PayloadFormat mpeg4_format(const iso_track* track) {
    PayloadFormat format = {"MP4V-ES", kMpeg4, kVideoClock, {}};
    const ByteSpan configuration = configuration_of(track);
    if (configuration.size() <= kMpeg4ProfileAt) return format;
    format.parameters = {{"profile-level-id", std::to_string(configuration[kMpeg4ProfileAt])},
                         {"config", hex(configuration)}};
    return format;
}

// RFC 4629 8.1; RFC 2190 has no parameters.
PayloadFormat h263_format(const iso_track* track, bool rfc2190) {
    if (rfc2190) return {"H263", kH263, kVideoClock, {}};
    PayloadFormat format = {"H263-1998", kH263Plus, kVideoClock, {}};
    if (track->level != 0) {
        format.parameters = {{"profile", std::to_string(track->profile)},
                             {"level", std::to_string(track->level)}};
    }
    return format;
}

}  // namespace

PayloadFormat payload_format(const iso_track* track, bool rfc2190) {
    switch (codec_of(track)) {
        case QLIP_AMR_NB:
            return {"AMR", kAmr, kNarrowbandClock, {{"octet-align", "1"}}};  // RFC 4867 8.1
        case QLIP_AMR_WB:
            return {"AMR-WB", kAmrWideband, kWidebandClock, {{"octet-align", "1"}}};
        case QLIP_H263:
            return h263_format(track, rfc2190);
        case QLIP_MPEG4_VISUAL:
            return mpeg4_format(track);
        case QLIP_H264:
            return h264_format(track);
        default:
            return {};
    }
}

std::string format_parameters(const PayloadFormat& format) {
    std::string text;
    for (const auto& [name, value] : format.parameters)
        text.append(text.empty() ? "" : ";").append(name).append("=").append(value);
    return text;
}

std::string sdp_section(const qlip_stream_info& info, unsigned int port, const char* control) {
    const bool audio = info.medium == QLIP_AUDIO;
    const std::string type = std::to_string(info.payload_type);
    std::string text = audio ? "m=audio " : "m=video ";
    text += std::to_string(port) + " RTP/AVP " + type + "\r\n";
    text += "a=rtpmap:" + type + " " + info.encoding_name + "/" + std::to_string(info.clock_rate);
    if (audio) text.append("/").append(std::to_string(info.channels));
    text += "\r\n";
    if (*info.format_parameters) text += "a=fmtp:" + type + " " + info.format_parameters + "\r\n";
    if (info.width != 0) {
        text += "a=framesize:" + type + " " + std::to_string(info.width) + "-" + std::to_string(info.height) +
                "\r\n";
    }
    if (control) text += std::string("a=control:") + control + "\r\n";
    return text;
}

std::string gstreamer_caps(const qlip_stream_info& info, const PayloadFormat& format) {
    const bool audio = info.medium == QLIP_AUDIO;
    std::string text = "application/x-rtp, media=(string)";
    text += audio ? "audio" : "video";
    text += ", payload=(int)" + std::to_string(info.payload_type);
    text += ", clock-rate=(int)" + std::to_string(info.clock_rate);
    text += std::string(", encoding-name=(string)") + info.encoding_name;
    if (audio) text += ", encoding-params=(string)" + std::to_string(info.channels);
    for (const auto& [name, value] : format.parameters)
        text.append(", ").append(name).append("=(string)\"").append(value).append("\"");
    if (info.width != 0)
        text += ", a-framesize=(string)" + std::to_string(info.width) + "-" + std::to_string(info.height);
    text += ", ssrc=(uint)" + std::to_string(info.ssrc);
    text += ", timestamp-offset=(uint)" + std::to_string(info.first_timestamp);
    text += ", seqnum-offset=(uint)" + std::to_string(info.first_sequence);
    return text;
}

}  // namespace qlip::kit
