// What a 3GP file holds and what of it the library would deliver, gathered through the ISO engine and the C
// interface. The ground of `info`.
#pragma once

#include <string>
#include <vector>

#include "host/file_host.h"
#include "movie/file_state.h"

namespace qlip_tool {

struct HintFacts {
    unsigned int track_id;
    unsigned int max_packet_size;
    bool taken;
    std::string why_not;  // empty when taken
};

struct EditFacts {
    double seconds;
    double from;  // in the media; below 0: nothing is shown
};

struct TrackFacts {
    unsigned int id;
    std::string handler;
    std::string entry;  // sample entry, a four-character code
    std::string codec;  // readable
    bool is_hint;
    unsigned int hints_for;  // hint tracks: the media track they serve
    unsigned int timescale;
    int samples;
    unsigned int bytes;
    unsigned int largest_sample;
    double seconds;
    double bits_per_second;  // 0 when the duration is 0
    unsigned int width, height;
    std::string profile;  // and level, in words; empty where the file says none
    unsigned int profile_number, level_number;
    unsigned int sync_samples;  // at which decoding can start
    std::vector<EditFacts> edits;
    bool is_amr;
    unsigned int mode_set, frames_per_sample;
    std::vector<std::string> amr_modes;
    std::vector<HintFacts> hint_tracks;  // those that refer to this track
};

// Whether the C interface opens the file in a mode, and which track it delivers.
struct OpenFacts {
    std::string mode;
    int status;
    unsigned int track_id;  // 0 when it does not open
    std::string why_not;
};

struct FileFacts {
    std::string major_brand;
    unsigned int minor_version;
    bool has_brands;
    std::vector<std::string> compatible_brands;
    double seconds;
    std::vector<TrackFacts> tracks;
    OpenFacts audio, video;
    FileState state;
};

FileFacts read_facts(FileHost& host);

}  // namespace qlip_tool
