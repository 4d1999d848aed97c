#include "rtp/destination.h"

#include <fmt/format.h>

#include <charconv>

#include "host/text.h"
#include "host/tool_error.h"

namespace qlip_tool {
namespace {

constexpr size_t kLastPort = 65535;

bool is_ipv6(const std::string& host) {
    return host.find(':') != std::string::npos;
}

}  // namespace

Destination parse_destination(const std::string& text, size_t tracks) {
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
    if (port == 0 || port > kLastPort || host.empty()) {
        throw ToolError(Exit::usage, "'" + text + "' is no destination",
                        "--to 127.0.0.1:5004, or --to '[::1]:5004'");
    }
    const size_t last = port + kPortsPerTrack * tracks - 1;
    if (tracks > 1 && last > kLastPort)
        throw ToolError(Exit::usage, "'" + text + "' leaves too few ports for all tracks", "a lower port");
    return {host, port, is_ipv6(host)};
}

std::string session_description(const Destination& to, const std::string& name,
                                const std::vector<std::string>& sections) {
    const std::string address = fmt::format("IN {} {}", to.ipv6 ? "IP6" : "IP4", to.host);
    std::string text = fmt::format("v=0\r\no=- 0 0 {}\r\ns={}\r\nc={}\r\nt=0 0\r\n", address,
                                   name.empty() ? " " : printable(name), address);
    for (const std::string& section : sections)
        text += section + "a=recvonly\r\n";
    return text;
}

}  // namespace qlip_tool
