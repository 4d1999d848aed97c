// How a track travels as RTP: payload type, encoding name and parameters, and the session description (RFC
// 4566) that tells them to a player.
#pragma once

#include <span>
#include <string>

#include "stream/stream_reader.h"

namespace qlip_tool {

struct RtpFormat {
    const char* medium;  // "audio" or "video"
    unsigned int payload_type;
    std::string encoding;    // with the clock, as in a=rtpmap
    unsigned int clock;      // ticks per second
    std::string parameters;  // of a=fmtp, or empty
    unsigned int width = 0, height = 0;
};

// Where packets go.
struct Destination {
    std::string host;
    unsigned int port;
    bool ipv6;
};

RtpFormat rtp_format(const StreamHeader& header);

// "HOST:PORT" or "[IPV6]:PORT". Throws ToolError for anything else.
Destination parse_destination(const std::string& text);

std::string session_description(const RtpFormat& format, const Destination& to, const std::string& name);

}  // namespace qlip_tool
