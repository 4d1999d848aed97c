// How a track travels, in the words of its payload format: for SDP, and for GStreamer.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qlip/host.h"
#include "qlip/isoff.h"

namespace qlip::kit {

struct PayloadFormat {
    const char* encoding_name = "";
    unsigned int payload_type = 0;  // the usual one
    unsigned int clock_rate = 0;
    std::vector<std::pair<std::string, std::string>> parameters;
};

// `rfc2190`: H.263 as hints of that form send it.
PayloadFormat payload_format(const iso_track* track, bool rfc2190);

std::string format_parameters(const PayloadFormat& format);
std::string sdp_section(const qlip_stream_info& info, unsigned int port, const char* control);
std::string gstreamer_caps(const qlip_stream_info& info, const PayloadFormat& format);

}  // namespace qlip::kit
