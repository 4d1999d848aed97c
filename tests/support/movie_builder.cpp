#include "tests/support/movie_builder.h"

#include <algorithm>

namespace qlip_test {

namespace {

unsigned int size_of(const Bytes& bytes) {
    return static_cast<unsigned int>(bytes.size());
}

using Pairs = std::vector<std::pair<unsigned int, unsigned int>>;

Pairs time_rows(const TrackPlan& track) {
    if (!track.stts.empty()) return track.stts;
    if (track.samples.empty()) return {};
    return {{static_cast<unsigned int>(track.samples.size()), track.delta}};
}

unsigned int duration_of(const TrackPlan& track) {
    unsigned int sum = 0;
    for (const auto& [count, delta] : time_rows(track))
        sum += count * delta;
    return sum;
}

Bytes pair_table(std::string_view type, const Pairs& rows) {
    std::vector<unsigned int> words;
    for (const auto& [first, second] : rows)
        words.insert(words.end(), {first, second});
    return table(type, rows.size(), words);
}

Bytes stsz(const TrackPlan& track) {
    ByteWriter out;
    const auto count = static_cast<unsigned int>(track.samples.size());
    if (track.constant_size) return full_box("stsz", out.u32(size_of(track.samples.at(0))).u32(count));
    out.u32(0).u32(count);
    for (const Bytes& bytes : track.samples)
        out.u32(size_of(bytes));
    return full_box("stsz", out);
}

// Samples in each chunk.
std::vector<unsigned int> chunk_lengths(const TrackPlan& track) {
    std::vector<unsigned int> out;
    for (size_t left = track.samples.size(); left > 0; left -= out.back()) {
        const unsigned int wanted =
            out.size() < track.chunks.size() ? track.chunks[out.size()] : track.samples_per_chunk;
        out.push_back(static_cast<unsigned int>(std::min<size_t>(std::max(wanted, 1U), left)));
    }
    return out;
}

// A row for every chunk whose number of samples differs from that of the chunk before.
Bytes stsc(const TrackPlan& track) {
    std::vector<unsigned int> rows;
    const std::vector<unsigned int> lengths = chunk_lengths(track);
    for (unsigned int i = 0; i < lengths.size(); ++i)
        if (i == 0 || lengths[i - 1] != lengths[i]) rows.insert(rows.end(), {i + 1, lengths[i], 1});
    if (rows.empty()) rows = {1, 1, 1};
    return table("stsc", rows.size() / 3, rows);
}

constexpr unsigned int kCreated = 0x11223344, kModified = 0x55667788;
constexpr unsigned int kUnityMatrix[9] = {0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x40000000};

Bytes tkhd(const TrackPlan& track, unsigned int movie_timescale) {
    ByteWriter out;
    const unsigned int duration = static_cast<unsigned int>(uint64_t{duration_of(track)} * movie_timescale /
                                                            std::max(track.timescale, 1U));
    out.u32(kCreated).u32(kModified).u32(track.id).u32(0).u32(duration).zeros(8).u16(0).u16(0).u16(0).u16(0);
    for (const unsigned int word : kUnityMatrix)
        out.u32(word);
    out.u32(track.width << 16).u32(track.height << 16);
    return full_box("tkhd", out, 0, 1);
}

Bytes media_header(const TrackPlan& track) {
    if (track.handler == "vide") return full_box("vmhd", ByteWriter().zeros(8), 0, 1);
    if (track.handler == "hint") return full_box("hmhd", ByteWriter().zeros(16));
    return full_box("smhd", ByteWriter().zeros(4));
}

Bytes trak(const TrackPlan& track, const std::vector<unsigned int>& offsets, unsigned int movie_timescale) {
    const Bytes stbl =
        container("stbl", {full_box("stsd", ByteWriter().u32(1).raw(track.sample_entry)),
                           pair_table("stts", time_rows(track)),
                           track.ctts.empty() ? Bytes{} : pair_table("ctts", track.ctts), stsc(track),
                           stsz(track), table("stco", offsets.size(), offsets),
                           track.sync.empty() ? Bytes{} : table("stss", track.sync.size(), track.sync)});
    const Bytes dinf =
        container("dinf", {full_box("dref", ByteWriter().u32(1).raw(full_box("url ", {}, 0, 1)))});
    const Bytes mdhd = full_box("mdhd", ByteWriter()
                                            .u32(kCreated)
                                            .u32(kModified)
                                            .u32(track.timescale)
                                            .u32(duration_of(track))
                                            .u16(0x55C4)
                                            .u16(0));
    const Bytes hdlr = full_box("hdlr", ByteWriter().u32(0).text(track.handler).zeros(12).u8(0));
    const Bytes minf = container("minf", {media_header(track), dinf, track.extra_minf, stbl});
    const Bytes tref = track.hint_reference == 0
                           ? Bytes{}
                           : container("tref", {box("hint", ByteWriter().u32(track.hint_reference))});
    return container("trak", {tkhd(track, movie_timescale), tref, container("mdia", {mdhd, hdlr, minf}),
                              track.extra_trak});
}

Bytes mvhd(const MoviePlan& plan) {
    uint64_t longest = 0;
    for (const TrackPlan& track : plan.tracks) {
        longest =
            std::max(longest, uint64_t{duration_of(track)} * plan.timescale / std::max(track.timescale, 1U));
    }
    ByteWriter out;
    out.u32(kCreated).u32(kModified).u32(plan.timescale).u32(static_cast<unsigned int>(longest));
    out.u32(0x10000).u16(0x100).zeros(10);
    for (const unsigned int word : kUnityMatrix)
        out.u32(word);
    out.zeros(24).u32(static_cast<unsigned int>(plan.tracks.size()) + 1);
    return full_box("mvhd", out);
}

// Where each track's chunks start, counted from the start of the media data, and the media data itself.
struct MediaLayout {
    std::vector<std::vector<unsigned int>> offsets;
    Bytes data;
};

MediaLayout lay_out(const MoviePlan& plan) {
    MediaLayout out;
    out.offsets.resize(plan.tracks.size());
    std::vector<size_t> next(plan.tracks.size(), 0);
    std::vector<std::vector<unsigned int>> lengths;
    for (const TrackPlan& track : plan.tracks)
        lengths.push_back(chunk_lengths(track));
    for (bool more = true; more;) {
        more = false;
        for (size_t t = 0; t < plan.tracks.size(); ++t) {
            const TrackPlan& track = plan.tracks[t];
            if (next[t] >= track.samples.size()) continue;
            more = true;
            const unsigned int length = lengths[t][out.offsets[t].size()];
            out.offsets[t].push_back(size_of(out.data));
            for (unsigned int i = 0; i < length; ++i) {
                const Bytes& bytes = track.samples[next[t]++];
                out.data.insert(out.data.end(), bytes.begin(), bytes.end());
            }
        }
    }
    return out;
}

Bytes moov(const MoviePlan& plan, const MediaLayout& media, unsigned int media_start) {
    ByteWriter out;
    out.raw(mvhd(plan));
    for (size_t t = 0; t < plan.tracks.size(); ++t) {
        std::vector<unsigned int> offsets = media.offsets[t];
        for (unsigned int& offset : offsets)
            offset += media_start;
        out.raw(trak(plan.tracks[t], offsets, plan.timescale));
    }
    return box("moov", out.raw(plan.extra_moov));
}

ByteWriter audio_fields(unsigned int timescale) {
    return ByteWriter().zeros(6).u16(1).zeros(8).u16(2).u16(16).zeros(4).u16(timescale).u16(0);
}

}  // namespace

Bytes build_movie(const MoviePlan& plan) {
    const Bytes ftyp = box("ftyp", ByteWriter().text("3gp6").u32(0x100).text("3gp6isom"));
    const MediaLayout media = lay_out(plan);
    const Bytes mdat = box("mdat", media.data);
    const unsigned int moov_size = size_of(moov(plan, media, 0));
    const unsigned int media_start = size_of(ftyp) + 8 + (plan.moov_first ? moov_size : 0);
    const Bytes header = moov(plan, media, media_start);
    return plan.moov_first ? join({ftyp, header, mdat}) : join({ftyp, mdat, header});
}

Bytes edts(const std::vector<std::pair<unsigned int, unsigned int>>& rows) {
    ByteWriter out;
    out.u32(static_cast<unsigned int>(rows.size()));
    for (const auto& [duration, start] : rows)
        out.u32(duration).u32(start).u32(0x10000);
    return container("edts", {full_box("elst", out)});
}

Bytes damr(unsigned int frames_per_sample, unsigned int mode_set, unsigned int mode_change_period) {
    return box("damr",
               ByteWriter().text("VXYZ").u8(0).u16(mode_set).u8(mode_change_period).u8(frames_per_sample));
}

Bytes samr_entry(const Bytes& configuration) {
    return box("samr", audio_fields(8000).raw(configuration));
}

Bytes sawb_entry(const Bytes& configuration) {
    return box("sawb", audio_fields(16000).raw(configuration));
}

Bytes visual_entry(std::string_view type, unsigned int width, unsigned int height,
                   const Bytes& configuration) {
    ByteWriter out;
    out.zeros(6).u16(1).zeros(16).u16(width).u16(height).u32(0x480000).u32(0x480000).u32(0).u16(1);
    return box(type, out.zeros(32).u16(24).u16(0xFFFF).raw(configuration));
}

Bytes d263(unsigned int level, unsigned int profile) {
    return box("d263", ByteWriter().text("VXYZ").u8(0).u8(level).u8(profile));
}

Bytes esds(const Bytes& decoder_specific_info) {
    const unsigned int n = size_of(decoder_specific_info);
    const Bytes specific = ByteWriter().u8(5).u8(n).raw(decoder_specific_info);
    ByteWriter config;
    config.u8(4).u8(13 + size_of(specific)).u8(0x20).u8(0x11).u24(4000).u32(64000).u32(32000).raw(specific);
    return full_box(
        "esds",
        ByteWriter().u8(3).u8(3 + size_of(config.bytes()) + 3).u16(1).u8(0).raw(config).u8(6).u8(1).u8(2));
}

Bytes avcC(unsigned int nal_length_size, const std::vector<Bytes>& sps, const std::vector<Bytes>& pps) {
    ByteWriter out;
    out.u8(1).u8(sps.at(0).at(1)).u8(sps.at(0).at(2)).u8(sps.at(0).at(3)).u8(0xFC | (nal_length_size - 1));
    out.u8(0xE0 | static_cast<unsigned int>(sps.size()));
    for (const Bytes& set : sps)
        out.u16(size_of(set)).raw(set);
    out.u8(static_cast<unsigned int>(pps.size()));
    for (const Bytes& set : pps)
        out.u16(size_of(set)).raw(set);
    return box("avcC", out);
}

Bytes rtp_entry(unsigned int max_packet_size, unsigned int timescale, const Bytes& extra,
                std::string_view type) {
    const Bytes tims = box("tims", ByteWriter().u32(timescale));
    return box(type, ByteWriter().zeros(6).u16(1).u16(1).u16(1).u32(max_packet_size).raw(tims).raw(extra));
}

TrackPlan speech_track(std::vector<Bytes> samples, unsigned int frames_per_sample, bool wide) {
    return {.timescale = wide ? 16000U : 8000U,
            .samples = std::move(samples),
            .delta = wide ? 320U : 160U,
            .sample_entry = (wide ? sawb_entry : samr_entry)(damr(frames_per_sample))};
}

TrackPlan video_track(std::string_view type, const Bytes& configuration, std::vector<Bytes> samples) {
    return {.handler = "vide",
            .id = 1,
            .timescale = 1000,
            .samples = std::move(samples),
            .delta = 500,
            .width = 176,
            .height = 144,
            .sample_entry = visual_entry(type, 176, 144, configuration)};
}

TrackPlan hint_track(std::vector<Bytes> samples, unsigned int max_packet_size, const Bytes& extra) {
    return {.handler = "hint",
            .id = 2,
            .timescale = 1000,
            .samples = std::move(samples),
            .delta = 500,
            .width = 320,
            .height = 240,
            .sample_entry = rtp_entry(max_packet_size, 90000, extra),
            .hint_reference = 1};
}

Bytes hint_immediate(const Bytes& data) {
    return ByteWriter().u8(1).u8(size_of(data)).raw(data).zeros(14 - data.size());
}

Bytes hint_sample_data(unsigned int length, unsigned int sample_number, unsigned int offset,
                       unsigned int track) {
    return ByteWriter().u8(2).u8(track).u16(length).u32(sample_number).u32(offset).u16(1).u16(1);
}

Bytes hint_no_data() {
    return ByteWriter().zeros(16);
}

Bytes hint_sample(const std::vector<HintPacket>& packets) {
    ByteWriter out;
    out.u16(static_cast<unsigned int>(packets.size())).u16(0);
    for (const HintPacket& packet : packets) {
        out.u32(0).u8(0).u8((packet.marker ? 0x80U : 0U) | packet.payload_type).u16(packet.sequence);
        out.u8(0).u8(packet.extra.empty() ? 0 : 4).u16(static_cast<unsigned int>(packet.constructors.size()));
        if (!packet.extra.empty()) out.u32(size_of(packet.extra) + 4).raw(packet.extra);
        for (const Bytes& constructor : packet.constructors)
            out.raw(constructor);
    }
    return out;
}

}  // namespace qlip_test
