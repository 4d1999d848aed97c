// The tracks of a file by its own tables, as far as these can be followed: what the file says, whatever the
// library makes of it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "boxes/box_walk.h"
#include "host/file_host.h"
#include "lint/findings.h"

namespace qlip_tool {

struct TableSample {
    uint64_t time;  // media time units; when to decode
    uint32_t duration;
    int32_t shift;  // to the time of presentation
    uint32_t offset, size;
};

struct TableTrack {
    unsigned int id = 0;
    uint64_t offset = 0;  // of the trak box
    std::string handler;
    std::vector<std::string> entries;  // types of the sample descriptions
    std::vector<uint32_t> descriptions_used;
    uint32_t timescale = 1;
    uint32_t width = 0, height = 0;
    uint64_t claimed_samples = 0;
    std::vector<TableSample> samples;
    std::vector<uint64_t> chunk_starts;  // indices into `samples`
    std::vector<uint32_t> sync;          // from 1
    bool has_sync_table = false;
    bool has_large_offsets = false;
    uint32_t edits = 0;
    bool is_shifted = false;            // by its edit list
    std::vector<unsigned char> config;  // avcC, d263, or the descriptor of esds

    // Hint tracks.
    unsigned int hints_for = 0;
    uint32_t largest_packet = 0;
    std::string sdp;

    bool is_hint() const { return handler == "hint"; }
    bool is_video() const { return handler == "vide"; }
    bool is_audio() const { return handler == "soun"; }
    std::string_view entry() const { return entries.empty() ? std::string_view() : entries.front(); }
    double seconds(uint64_t units) const {
        return static_cast<double>(units) / static_cast<double>(timescale);
    }
    uint64_t duration() const { return samples.empty() ? 0 : samples.back().time + samples.back().duration; }
    uint64_t bytes() const;
};

// Tells on the way what the boxes have wrong.
std::vector<TableTrack> read_tables(FileHost& host, const std::vector<BoxNode>& boxes, Findings& findings);

// The bytes of a box behind its header, as far as the file has them.
std::vector<unsigned char> box_payload(FileHost& host, const BoxNode& box);

}  // namespace qlip_tool
