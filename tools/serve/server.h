// The RTSP server: GStreamer's, with our files behind it.
#pragma once

#include <string>

#include "tools/serve/catalogue.h"

namespace qlip::serve {

struct Limits {
    unsigned int clients = 0;  // connections, and sessions, at once
    unsigned int idle = 0;     // seconds after which a client that says nothing is let go
};

// Serves until SIGINT or SIGTERM. Throws std::runtime_error when the port cannot be had.
void serve(const Catalogue& catalogue, const std::string& address, const std::string& port,
           const Limits& limits);

}  // namespace qlip::serve
