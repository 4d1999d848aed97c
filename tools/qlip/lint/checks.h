// The groups of checks. Each adds to the findings what it sees.
#pragma once

#include <string>
#include <vector>

#include "host/file_host.h"
#include "lint/findings.h"
#include "lint/tables.h"
#include "movie/movie.h"

namespace qlip_tool {

// Boxes, tables and where things lie.
void check_structure(FileHost& host, const Movie& movie, const std::vector<TableTrack>& tracks,
                     Findings& findings);

// How much of each sample of a media track its hint track sends.
struct HintCoverage {
    unsigned int track = 0;         // the media track
    std::vector<uint32_t> missing;  // bytes of each sample
};

// A hint track against the media that it is for.
HintCoverage check_hint_track(FileHost& host, const Movie& movie, const TableTrack& hint,
                              const TableTrack& media, const std::string& own_parameters, Findings& findings);

// The hint track's description against the track; `types` are the payload types of its packets,
// `own_parameters` the format parameters that the kit describes the track with, or empty.
void check_hint_sdp(const TableTrack& hint, const TableTrack& media, const std::vector<unsigned int>& types,
                    const std::string& own_parameters, Findings& findings);

}  // namespace qlip_tool
