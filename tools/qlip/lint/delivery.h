// What is delivered of a file's tracks, packet by packet: against the payload formats, and what it costs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/file_host.h"
#include "lint/findings.h"
#include "qlip/host.h"

namespace qlip_tool {

struct SentPacket {
    double time;  // seconds; when it leaves
    uint32_t size;
};

struct SentTrack {
    unsigned int id = 0;
    bool video = false;
    std::string encoding, format_parameters;
    bool hinted = false;
    double seconds = 0;
    std::vector<SentPacket> packets;
    uint64_t frames = 0, bytes = 0;
    uint64_t most_packets = 0, longest_frame = 0;  // of a frame: packets, bytes
    double mean_rate = 0, peak_rate = 0;           // bit/s; the peak over a second
    double jitter_ms = 0;                          // interarrival jitter that pacing by frame gives, at most

    // Of the native stream, as a server reads it.
    double reads_per_second = 0, bytes_per_second = 0;
    uint64_t open_memory = 0;
};

// The tracks that the library delivers: one of each medium.
std::vector<SentTrack> check_delivery(FileHost& host, Findings& findings);

}  // namespace qlip_tool
