#include "bench/bench_movies.h"

#include <algorithm>

namespace qlip_bench {

namespace {

using qlip_test::ByteWriter;
using qlip_test::TrackPlan;

Bytes amr_sample(size_t frames) {
    Bytes out;
    for (size_t i = 0; i < frames; ++i) {
        out.push_back(0x3C);  // mode 7, good quality
        out.insert(out.end(), 31, static_cast<unsigned char>(i + 1));
    }
    return out;
}

// Pictures too large for one packet, without start codes to cut at, and with their own beginning.
Bytes picture(const Bytes& beginning, size_t size) {
    Bytes out(size, 0x55);
    std::ranges::copy(beginning, out.begin());
    return out;
}

TrackPlan video(std::string_view entry, const Bytes& configuration, const Bytes& sample, size_t samples) {
    TrackPlan track;
    track.handler = "vide";
    track.timescale = 90000;
    track.delta = 6000;
    track.width = 176;
    track.height = 144;
    track.samples.assign(samples, sample);
    track.sample_entry = qlip_test::visual_entry(entry, 176, 144, configuration);
    return track;
}

// One packet per sample: `beginning`, then the media sample but for its first `skip` bytes.
TrackPlan hints_for(const TrackPlan& media, unsigned int payload_type, const Bytes& beginning,
                    unsigned int skip) {
    TrackPlan track;
    track.handler = "hint";
    track.id = 2;
    track.hint_reference = 1;
    track.timescale = media.timescale;
    track.delta = media.delta;
    track.sample_entry = qlip_test::rtp_entry(1400, media.timescale);
    for (size_t i = 0; i < media.samples.size(); ++i) {
        const auto length = static_cast<unsigned int>(media.samples[i].size()) - skip;
        qlip_test::HintPacket packet;
        packet.sequence = static_cast<unsigned int>(i);
        packet.marker = true;
        packet.payload_type = payload_type;
        packet.constructors = {qlip_test::hint_immediate(beginning),
                               qlip_test::hint_sample_data(length, static_cast<unsigned int>(i + 1), skip)};
        track.samples.push_back(qlip_test::hint_sample({packet}));
    }
    return track;
}

std::vector<TrackPlan> hinted(const TrackPlan& media, unsigned int payload_type, const Bytes& beginning,
                              unsigned int skip) {
    return {media, hints_for(media, payload_type, beginning, skip)};
}

// Gives every tenth packet a second constructor, which goes back 500 samples.
std::vector<TrackPlan> citing_back(std::vector<TrackPlan> tracks) {
    std::vector<Bytes>& hints = tracks[1].samples;
    for (size_t i = 0; i < hints.size(); i += 10) {
        hints[i][15] = 3;  // constructors
        const auto cited = static_cast<unsigned int>(i < 500 ? 1 : i - 499);
        const Bytes back = qlip_test::hint_sample_data(2, cited, 0);
        hints[i].insert(hints[i].end() - 16, back.begin(), back.end());
    }
    return tracks;
}

TrackPlan h263(size_t samples, size_t size) {
    return video("s263", qlip_test::d263(), picture({0, 0, 0x80, 0x02, 0x08}, size), samples);
}

TrackPlan h264(size_t samples, size_t size) {
    const Bytes nal = picture(ByteWriter().u32(static_cast<unsigned int>(size) - 4).u8(0x41), size);
    return video("avc1", qlip_test::avcC(4, {{0x67, 0x42, 0, 13}}, {{0x68, 0xCE}}), nal, samples);
}

TrackPlan amr(size_t samples, size_t frames) {
    TrackPlan track;
    track.samples.assign(samples, amr_sample(frames));
    track.delta = static_cast<unsigned int>(160 * frames);
    track.samples_per_chunk = 10;
    track.sample_entry = qlip_test::samr_entry(qlip_test::damr(static_cast<unsigned int>(frames)));
    return track;
}

std::vector<TrackPlan> tracks_of(Content content, size_t samples, size_t size) {
    switch (content) {
        case Content::AmrOneFrame:
            return {amr(samples, 1)};
        case Content::AmrTenFrames:
            return {amr(samples, 10)};
        case Content::H263:
            return {h263(samples, size)};
        case Content::Mpeg4:
            return {video("mp4v", qlip_test::esds({0, 0, 1, 0xB0, 8}), picture({0, 0, 1, 0xB6, 0x50}, size),
                          samples)};
        case Content::H264:
            return {h264(samples, size)};
        case Content::H263Hinted:
            return hinted(h263(samples, size), 96, {0x04, 0x00}, 2);
        case Content::H264Hinted:
            return hinted(h264(samples, size), 97, {0x04, 0x00}, 2);
        case Content::H263HintedBack:
            return citing_back(hinted(h263(samples, size), 96, {0x04, 0x00}, 2));
        case Content::AmrHinted:
            return hinted(amr(samples, 1), 98, {0xF0}, 0);
    }
    return {};
}

}  // namespace

const char* name_of(Content content) {
    constexpr const char* kNames[] = {"amr_1_frame", "amr_10_frames", "h263",       "mpeg4",           "h264",
                                      "h263_hinted", "h264_hinted",   "amr_hinted", "h263_hinted_back"};
    return kNames[static_cast<int>(content)];
}

bool is_audio(Content content) {
    return content == Content::AmrOneFrame || content == Content::AmrTenFrames ||
           content == Content::AmrHinted;
}

Bytes make_movie(Content content, size_t samples, size_t picture) {
    return qlip_test::build_movie({.tracks = tracks_of(content, samples, picture), .moov_first = true});
}

}  // namespace qlip_bench
