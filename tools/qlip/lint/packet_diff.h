// The packets of a file's hint track beside those that the library would cut itself.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/file_host.h"
#include "lint/tables.h"

namespace qlip_tool {

struct PacketDiff {
    uint64_t frame, packet;   // from 1; the packet in its frame
    std::string hinted, own;  // what each has there, or empty
};

// Packet by packet where they differ; nothing for a file whose video has no hint track in use.
std::vector<PacketDiff> compare_packets(FileHost& host, const std::vector<TableTrack>& tracks);

}  // namespace qlip_tool
