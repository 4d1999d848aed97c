// Whole 3GP files from a description of their tracks.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/box_builder.h"

namespace qlip_test {

struct TrackPlan {
    std::string handler = "soun";
    unsigned int id = 1;
    unsigned int timescale = 8000;
    std::vector<Bytes> samples = {};
    unsigned int delta = 160;                                      // of every sample, unless `stts` is given
    std::vector<std::pair<unsigned int, unsigned int>> stts = {};  // (count, delta)
    std::vector<std::pair<unsigned int, unsigned int>> ctts = {};  // (count, offset); left out when empty
    std::vector<unsigned int> sync = {};                           // stss; left out when empty
    unsigned int samples_per_chunk = 1;
    std::vector<unsigned int> chunks =
        {};                              // samples of the first chunks; samples_per_chunk goes on from there
    bool constant_size = false;          // stsz with a sample size instead of a table
    unsigned int width = 0, height = 0;  // pixels
    Bytes sample_entry = {};             // the box inside stsd
    unsigned int hint_reference = 0;     // tref/hint; none when 0
    Bytes extra_trak = {};               // further boxes at the end of trak
    Bytes extra_minf = {};               // in front of stbl; a media header box fits here
};

struct MoviePlan {
    std::vector<TrackPlan> tracks = {};
    bool moov_first = false;
    unsigned int timescale = 600;
    Bytes extra_moov = {};  // further boxes at the end of moov
};

// ftyp, moov and mdat. Chunks lie in mdat one after the other, track by track within one round of chunks
// (interleaved).
Bytes build_movie(const MoviePlan& plan);

// An edit box: rows of duration, in the movie's time scale, and start in the media.
constexpr unsigned int kEmptyEdit = 0xFFFFFFFF;
Bytes edts(const std::vector<std::pair<unsigned int, unsigned int>>& rows);

// Sample entries. A configuration box of {} is left out.
Bytes damr(unsigned int frames_per_sample = 1, unsigned int mode_set = 0x81FF,
           unsigned int mode_change_period = 0);
Bytes samr_entry(const Bytes& configuration = damr());
Bytes sawb_entry(const Bytes& configuration = damr());
Bytes visual_entry(std::string_view type, unsigned int width, unsigned int height,
                   const Bytes& configuration);
Bytes d263(unsigned int level = 10, unsigned int profile = 0);
Bytes esds(const Bytes& decoder_specific_info);
Bytes avcC(unsigned int nal_length_size, const std::vector<Bytes>& sps, const std::vector<Bytes>& pps);
Bytes rtp_entry(unsigned int max_packet_size, unsigned int timescale, const Bytes& extra = {},
                std::string_view type = "rtp ");

// Tracks of AMR, a frame of 20 ms a sample; of pictures, half a second each, which is 45,000 units of an RTP
// clock of 90 kHz; and of as many hint samples for them.
TrackPlan speech_track(std::vector<Bytes> samples, unsigned int frames_per_sample = 1, bool wide = false);
TrackPlan video_track(std::string_view type, const Bytes& configuration, std::vector<Bytes> samples);
TrackPlan hint_track(std::vector<Bytes> samples, unsigned int max_packet_size = 1400,
                     const Bytes& extra = {});

// Hint samples (ISO/IEC 14496-12 RTP hint sample format).
Bytes hint_immediate(const Bytes& data);  // at most 14 bytes
Bytes hint_sample_data(unsigned int length, unsigned int sample_number, unsigned int offset,
                       unsigned int track = 0);
Bytes hint_no_data();

struct HintPacket {
    unsigned int sequence = 0;
    bool marker = false;
    unsigned int payload_type = 96;
    std::vector<Bytes> constructors = {};
    Bytes extra = {};  // extra information without its size word; sets flag bit 2 when not empty
};

Bytes hint_sample(const std::vector<HintPacket>& packets);

}  // namespace qlip_test
