#include "rtp/rtp_format.h"

#include <arpa/inet.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "host/text.h"
#include "host/tool_error.h"
#include "qlip/wld_native.h"

namespace qlip_tool {
namespace {

using Bytes = std::span<const unsigned char>;

// Dynamic types of the tool's own; the other tracks go with the type of the stream's records.
enum PayloadType : unsigned int {
    kTypeH263Plus = 96,
    kTypeAmr = 97,
    kTypeAmrWb = 98,
};

constexpr unsigned int kVideoClock = 90000;

uint16_t big_endian_16(const unsigned char* from) {
    uint16_t value;
    std::memcpy(&value, from, sizeof value);
    return ntohs(value);
}

// The parameter sets of an avcC payload (ISO/IEC 14496-15 5.2.4.1) in base64, separated by commas; those that
// are cut off are left out.
std::string sprop_parameter_sets(Bytes config) {
    std::string text;
    size_t at = 5;
    for (const unsigned int count_mask : {31U, 255U}) {
        if (at >= config.size()) break;
        unsigned int count = config[at++] & count_mask;
        for (; count > 0 && at + 2 <= config.size(); --count) {
            const size_t size = big_endian_16(&config[at]);
            at += 2;
            if (size == 0 || at + size > config.size()) return text;
            if (!text.empty()) text += ',';
            text += base64_text(config.subspan(at, size));
            at += size;
        }
    }
    return text;
}

// RFC 6184 8.1.
std::string parameters_of(const VID_Header_H264CodecConfig& config) {
    const Bytes bytes(config.config, std::min<size_t>(config.config_size, WLD_CONFIG_CAPACITY));
    std::string text = "packetization-mode=1";
    if (bytes.size() < 4) return text;
    text += ";profile-level-id=" + hex_text(bytes.subspan(1, 3));
    const std::string sets = sprop_parameter_sets(bytes);
    return sets.empty() ? text : text + ";sprop-parameter-sets=" + sets;
}

// RFC 6416 7.1.
std::string parameters_of(const VID_Header_MPEG4CodecConfig& config) {
    const Bytes bytes(config.config, std::min<size_t>(config.config_size, WLD_CONFIG_CAPACITY));
    if (bytes.empty()) return {};
    return fmt::format("profile-level-id={};config={}", config.profile_level, hex_text(bytes));
}

// RFC 4629 8.1. RFC 2190 has no parameters, and a hint track does not know the picture's: its level is 0.
std::string parameters_of(const VID_Header_H263CodecConfig& config, bool rfc2190) {
    return rfc2190 || config.level == 0 ? ""
                                        : fmt::format("profile={};level={}", config.profile, config.level);
}

RtpFormat audio_format(const StreamHeader& header) {
    constexpr const char* kOctetAligned = "octet-align=1";  // RFC 4867 8.1
    if (header.is_wide_band()) return {"audio", kTypeAmrWb, "AMR-WB/16000/1", 16000, kOctetAligned};
    return {"audio", kTypeAmr, "AMR/8000/1", 8000, kOctetAligned};
}

bool is_ipv6(const std::string& host) {
    return host.find(':') != std::string::npos;
}

}  // namespace

// H.263 is "s263" when its packets are those of RFC 2190, and "s263+" when they are those of RFC 2429 and
// 4629.
RtpFormat rtp_format(const StreamHeader& header) {
    if (header.is_audio()) return audio_format(header);
    const VideoHeader& video = header.video();
    RtpFormat format = {"video", 0, "", kVideoClock, "", video.codec.width, video.codec.height};
    if (const auto* h264 = std::get_if<VID_Header_H264CodecConfig>(&video.config)) {
        format.payload_type = WLD_TYPE_H264;
        format.encoding = "H264/90000";
        format.parameters = parameters_of(*h264);
    } else if (const auto* mpeg4 = std::get_if<VID_Header_MPEG4CodecConfig>(&video.config)) {
        format.payload_type = WLD_TYPE_MPEG4;
        format.encoding = "MP4V-ES/90000";
        format.parameters = parameters_of(*mpeg4);
    } else {
        const bool rfc2190 = header.codec_name() == "s263";
        format.payload_type = rfc2190 ? unsigned{WLD_TYPE_H263} : unsigned{kTypeH263Plus};
        format.encoding = rfc2190 ? "H263/90000" : "H263-1998/90000";
        format.parameters = parameters_of(std::get<VID_Header_H263CodecConfig>(video.config), rfc2190);
    }
    return format;
}

Destination parse_destination(const std::string& text) {
    const size_t colon = text.rfind(':');
    unsigned int port = 0;
    std::string host = text.substr(0, colon);
    if (colon != std::string::npos) {
        const char* end = text.data() + text.size();
        const auto result = std::from_chars(text.data() + colon + 1, end, port);
        if (result.ec != std::errc{} || result.ptr != end) port = 0;
    }
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    } else if (is_ipv6(host)) {
        port = 0;  // without brackets it cannot be told where the address ends
    }
    if (port == 0 || port > 65535 || host.empty()) {
        throw ToolError(Exit::usage, "'" + text + "' is no destination",
                        "--to 127.0.0.1:5004, or --to '[::1]:5004'");
    }
    return {host, port, is_ipv6(host)};
}

std::string session_description(const RtpFormat& format, const Destination& to, const std::string& name) {
    const std::string address = fmt::format("IN {} {}", to.ipv6 ? "IP6" : "IP4", to.host);
    std::string text = fmt::format("v=0\r\no=- 0 0 {}\r\ns={}\r\nc={}\r\nt=0 0\r\n", address,
                                   name.empty() ? " " : printable(name), address);
    const unsigned int pt = format.payload_type;
    text += fmt::format("m={} {} RTP/AVP {}\r\na=rtpmap:{} {}\r\n", format.medium, to.port, pt, pt,
                        format.encoding);
    if (!format.parameters.empty()) text += fmt::format("a=fmtp:{} {}\r\n", pt, format.parameters);
    if (format.width != 0) text += fmt::format("a=framesize:{} {}-{}\r\n", pt, format.width, format.height);
    return text + "a=recvonly\r\n";
}

}  // namespace qlip_tool
