// Where packets go, and the session description (RFC 8866) that tells a player where to listen.
#pragma once

#include <string>
#include <vector>

namespace qlip_tool {

struct Destination {
    std::string host;
    unsigned int port;  // of the first track's packets; its reports go to the next one (RFC 3550 11)
    bool ipv6;
};

inline constexpr unsigned int kPortsPerTrack = 2;

// "HOST:PORT" or "[IPV6]:PORT", with ports for so many tracks. Throws ToolError for anything else.
Destination parse_destination(const std::string& text, size_t tracks);

// `sections` are those of the tracks.
std::string session_description(const Destination& to, const std::string& name,
                                const std::vector<std::string>& sections);

}  // namespace qlip_tool
