#include "fuzz/drawn_film.h"

#include <string_view>

using namespace qlip_test;

namespace qlip_fuzz {

namespace {

constexpr size_t kMostSamples = 6;

// ---- Hint samples ----

Bytes draw_constructor(Draws& draws) {
    const unsigned int kind = draws.byte();
    if (kind < 0x60) return hint_immediate(draws.bytes(kind % 15));
    if (kind < 0xF0) return hint_sample_data(draws.pair(), kind % 5, draws.byte(), kind >= 0xE0 ? 255 : 0);
    return hint_no_data();
}

HintPacket draw_packet(Draws& draws) {
    const unsigned int shape = draws.byte();
    HintPacket out{.sequence = draws.byte(), .marker = (shape & 1) != 0, .payload_type = 96};
    for (unsigned int i = 0; i < (shape >> 1 & 3); ++i)
        out.constructors.push_back(draw_constructor(draws));
    if (shape & 0x80) out.extra = draws.bytes(shape >> 4 & 7);
    return out;
}

// A hint sample as a writer makes it: a packet with the payload header of the codec, then the media sample.
Bytes plain_hint_sample(const TrackPlan& media, size_t sample) {
    const auto size = static_cast<unsigned int>(media.samples[sample].size());
    const bool h263 = media.sample_entry[4] == 's' && media.sample_entry[5] == '2';
    HintPacket packet{.sequence = static_cast<unsigned int>(sample), .marker = true, .payload_type = 96};
    const unsigned int cut = h263 && size > 2 ? 2 : 0;  // an RFC 2429 header stands for the two zero bytes
    if (h263) packet.constructors.push_back(hint_immediate({4, 0}));
    packet.constructors.push_back(
        hint_sample_data(size - cut, static_cast<unsigned int>(sample) + 1, cut, 0));
    return hint_sample({packet});
}

// ---- Boxes beside the tables ----

Bytes draw_box(Draws& draws, std::string_view type) {
    return box(type, draws.bytes(draws.byte() % 64));
}

Bytes draw_text_box(Draws& draws, std::string_view type) {
    return full_box(type, draws.bytes(draws.byte() % 48));
}

Bytes draw_edits(Draws& draws) {
    const unsigned int rows = draws.below(4);
    ByteWriter out;
    out.u32(draws.one_in(8) ? draws.word() : rows);
    for (unsigned int i = 0; i < rows; ++i)
        out.u32(draws.pair()).u32(draws.pair()).u32(0x10000);
    return container("edts", {full_box("elst", out)});
}

Bytes draw_protection(Draws& draws) {
    const bool url = draws.one_in(2);
    ByteWriter scheme;
    scheme.text("cenc").u32(draws.word()).raw(url ? join({draws.bytes(draws.below(16)), {0}}) : Bytes{});
    ByteWriter out;
    out.u32(0).text("AES1").text("HMAC").text("AES2").text("SHA1");
    out.raw(full_box("schm", scheme, 0, url ? 1 : 0)).raw(draw_box(draws, "schi"));
    return box("srpp", out);
}

Bytes draw_groups(Draws& draws) {
    const unsigned int rows = draws.below(4);
    ByteWriter runs;
    runs.text("avcl").u32(draws.one_in(8) ? draws.word() : rows);
    for (unsigned int i = 0; i < rows; ++i)
        runs.u32(draws.byte()).u32(draws.below(3));
    ByteWriter entries;
    entries.text("avcl").u32(draws.one_in(8) ? draws.word() : rows).raw(draws.bytes(16 * size_t{rows}));
    return container("stbl", {full_box("sbgp", runs), full_box("sgpd", entries)});
}

Bytes draw_extra_trak(Draws& draws) {
    const unsigned int which = draws.byte();
    ByteWriter out;
    if (which & 1) out.raw(draw_edits(draws));
    if (which & 2) out.raw(container("meta", {draw_text_box(draws, "xml ")}));
    if (which & 4)
        out.raw(
            container("udta", {container("hnti", {draw_box(draws, "sdp ")}), draw_text_box(draws, "tsel")}));
    if (which & 8) out.raw(draw_box(draws, "free"));
    return out;
}

// ---- Tracks ----

Bytes draw_audio_entry(Draws& draws) {
    const unsigned int kind = draws.byte();
    const Bytes configuration = kind & 4 ? draw_box(draws, "damr") : damr(1 + (kind >> 4));
    return kind & 1 ? sawb_entry(configuration) : samr_entry(configuration);
}

// Speech frames whose types fit their lengths, or any bytes.
Bytes draw_speech(Draws& draws) {
    constexpr unsigned int kSizes[] = {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1};
    Bytes out;
    for (unsigned int frames = 1 + draws.below(3); frames > 0; --frames) {
        const unsigned int type = draws.below(16);
        Bytes frame = draws.bytes(kSizes[type] - 1);
        frame.resize(kSizes[type] - 1);
        out.push_back(static_cast<unsigned char>(type << 3 | 4));
        out.insert(out.end(), frame.begin(), frame.end());
    }
    if (draws.one_in(8)) out.resize(draws.byte());
    return out;
}

Bytes draw_picture(Draws& draws) {
    Bytes out = draws.bytes(draws.byte());
    if (draws.one_in(16)) out.resize(out.size() + 3000, 0x55);
    return draws.one_in(2) ? join({{0, 0, 0x80, 2}, out}) : out;
}

TrackPlan draw_track(Draws& draws, unsigned int id) {
    const bool audio = draws.one_in(2);
    const Bytes entry = audio ? draw_audio_entry(draws) : draw_visual_entry(draws);
    TrackPlan track{.handler = audio ? "soun" : "vide",
                    .id = id,
                    .timescale = audio ? 8000U : 90000U,
                    .delta = audio ? 160U : 3000U,
                    .sample_entry = entry};
    const size_t samples = 1 + draws.below(kMostSamples);
    for (size_t i = 0; i < samples; ++i)
        track.samples.push_back(audio ? draw_speech(draws) : draw_picture(draws));
    track.samples_per_chunk = 1 + draws.below(4);
    if (draws.one_in(3)) track.sync = {1, static_cast<unsigned int>(1 + draws.below(kMostSamples))};
    if (draws.one_in(4)) track.ctts = {{static_cast<unsigned int>(samples), draws.pair()}};
    track.extra_trak = draw_extra_trak(draws);
    if (draws.one_in(16)) track.extra_minf = draw_groups(draws);
    return track;
}

TrackPlan draw_hints(Draws& draws, const TrackPlan& media, unsigned int id) {
    const bool secure = draws.one_in(8);
    Bytes entry = rtp_entry(draws.one_in(8) ? draws.pair() : 1400, media.timescale,
                            secure ? draw_protection(draws) : Bytes{});
    if (secure) std::copy_n("srtp", 4, entry.begin() + 4);
    TrackPlan hint{.handler = "hint",
                   .id = id,
                   .timescale = media.timescale,
                   .delta = media.delta,
                   .sample_entry = entry,
                   .hint_reference = media.id};
    const bool plain = !draws.one_in(3);
    for (size_t i = 0; i < media.samples.size(); ++i)
        hint.samples.push_back(plain ? plain_hint_sample(media, i) : draw_hint_sample(draws));
    hint.extra_trak = draw_extra_trak(draws);
    return hint;
}

}  // namespace

Bytes draw_hint_sample(Draws& draws) {
    std::vector<HintPacket> packets;
    const unsigned int shape = draws.byte();
    for (unsigned int i = 0; i < (shape & 3); ++i)
        packets.push_back(draw_packet(draws));
    Bytes out = hint_sample(packets);
    if (shape & 0x80) out[draws.byte() % out.size()] ^= static_cast<unsigned char>(draws.byte());
    return out;
}

Bytes draw_visual_entry(Draws& draws) {
    const unsigned int kind = draws.byte();
    const Bytes sps = {0x67, 1, 2, 3}, pps = {0x68, 4};
    if (kind % 3 == 1) {
        const Bytes sequence = {0, 0, 1, 0xB0, 1, 2};
        return visual_entry("mp4v", 176, 144, esds(kind & 4 ? draws.bytes(draws.below(100)) : sequence));
    }
    if (kind % 3 == 2) {
        const Bytes sets = kind & 4 ? draw_box(draws, "avcC") : avcC((kind >> 4 & 3) + 1, {sps}, {pps});
        return visual_entry("avc1", 176, 144, sets);
    }
    return visual_entry("s263", 176, 144, d263());
}

MoviePlan draw_film(Draws& draws) {
    MoviePlan film{.moov_first = !draws.one_in(3)};
    const unsigned int tracks = 1 + draws.below(3);
    for (unsigned int id = 1; id <= tracks; ++id)
        film.tracks.push_back(draw_track(draws, id));
    for (unsigned int id = 1; id <= tracks; ++id) {
        if (!draws.one_in(3)) film.tracks.push_back(draw_hints(draws, film.tracks[id - 1], tracks + id));
    }
    if (draws.one_in(4)) {
        const Bytes text = box("rtp ", ByteWriter().text("sdp ").raw(draws.bytes(draws.below(40))));
        film.extra_moov = container("udta", {container("hnti", {text})});
    }
    return film;
}

}  // namespace qlip_fuzz
